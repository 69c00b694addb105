// Writes the seed files that cannot live in the repository as text: `make_fuzz_seeds <directory>`
// fills the directory with the audio-file target's seeds.
#include "fuzz/FuzzFixtures.hpp"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: make_fuzz_seeds <directory>\n";
        return 2;
    }
    try {
        lorvan::fuzz::writeAudioSeeds(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << "make_fuzz_seeds: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
