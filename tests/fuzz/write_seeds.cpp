// Writes the seeds of the target into a folder, for libFuzzer to begin with: write_seeds FOLDER
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <string>

#include "tests/fuzz/fuzz_target.h"

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const boost::filesystem::path folder = arguments[1];
    boost::filesystem::create_directories(folder);
    int number = 0;
    for (const auto& seed : qv::fuzz::target.seeds()) {
        boost::filesystem::ofstream file(folder / std::to_string(++number), std::ios::binary);
        file.write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
        if (!file) return 1;
    }
    return 0;
}
