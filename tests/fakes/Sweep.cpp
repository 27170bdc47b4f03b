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

void tellFigure(const std::string& row, const std::string& figure) {
    std::cout << row << ": " << figure << std::endl;
    if (const char* file = std::getenv("VEXASSL_FIGURES")) {
        // One write, so that tests running side by side don't mix their lines.
        std::ofstream(file, std::ios::app) << row + '\t' + figure + '\n';
    }
}

} // namespace VexaSsl::test
