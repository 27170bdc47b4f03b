// Records the messages of honest peers as inputs of the two harnesses, so that a fuzzer can get
// past the first message. Must be run again when the messages change, for example with another
// OpenSSL.
//
//   fuzz_captures FOLDER      writes FOLDER/negotiation_client/* and FOLDER/negotiation_server/*
#include "Negotiation.h"

#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

using namespace VexaSsl::fuzz;

void write(const std::filesystem::path& folder, Role role, bool mutual) {
    for (const int pieces : {0, 64}) {
        const char choice = static_cast<char>((mutual ? 1 : 0) + pieces);
        const std::string name =
            std::string(mutual ? "mutual" : "usual") + (pieces == 0 ? "" : "-in-pieces");
        std::ofstream(folder / name, std::ios::binary) << choice << honestFlights(role, mutual);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: fuzz_captures FOLDER\n";
        return 2;
    }
    for (const Role role : {Role::Client, Role::Server}) {
        const std::filesystem::path folder =
            std::filesystem::path(argv[1]) /
            (role == Role::Client ? "negotiation_client" : "negotiation_server");
        std::filesystem::create_directories(folder);
        for (const bool mutual : {false, true}) {
            write(folder, role, mutual);
        }
    }
    return 0;
}
