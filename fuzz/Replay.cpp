// Runs a harness on each input of a folder, in the order of their names.
//
//   fuzz_replay HARNESS FOLDER
//
// Prints each input's name first, so that the last one is that of a finding. A folder without
// inputs is an error.
#include "Replay.h"

#include "fakes/Sweep.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace VexaSsl;
namespace files = std::filesystem;

std::vector<files::path> inputsIn(const files::path& folder) {
    std::vector<files::path> inputs;
    std::error_code ignored;
    for (const auto& entry : files::directory_iterator(folder, ignored)) {
        inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

std::vector<char> contentOf(const files::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int replay(const fuzz::NamedHarness& harness, const files::path& folder) {
    const std::vector<files::path> inputs = inputsIn(folder);
    if (inputs.empty()) {
        std::cerr << "no inputs in " << folder << '\n';
        return 1;
    }
    for (const files::path& input : inputs) {
        std::cout << input.filename().string() << std::endl;
        // On the heap with the exact size, so that a sanitizer finds reads beyond the end.
        const std::vector<char> content = contentOf(input);
        harness.run(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    }
    test::reportFigure("Fuzzing", std::string(harness.name) + ": " + std::to_string(inputs.size()) +
                                      " inputs replayed, every invariant held");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    for (const fuzz::NamedHarness& harness : fuzz::harnesses()) {
        if (argc == 3 && std::string_view(argv[1]) == harness.name) {
            return replay(harness, argv[2]);
        }
    }
    std::cerr << "usage: fuzz_replay HARNESS FOLDER\n";
    return 2;
}
