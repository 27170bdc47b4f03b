#include "fakes/Sweep.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

namespace VexaSsl::test {

bool sweepIsFull() {
    return std::getenv("VEXASSL_TORTURE") != nullptr;
}

std::size_t sweepStep(std::size_t usual) {
    return sweepIsFull() ? 1 : usual;
}

namespace {

void appendToFile(const std::string& row, const std::string& figure) {
    if (const char* file = std::getenv("VEXASSL_FIGURES")) {
        // In one write, so that parallel tests do not mix their lines.
        std::ofstream(file, std::ios::app) << row + '\t' + figure + '\n';
    }
}

} // namespace

void reportFigure(const std::string& row, const std::string& figure) {
    std::cout << row << ": " << figure << std::endl;
    appendToFile(row, figure);
}

void addToFigure(const std::string& row, std::size_t count, const std::string& what) {
    appendToFile(row, '+' + std::to_string(count) + ' ' + what);
}

} // namespace VexaSsl::test
