// A main for the fuzz targets without libFuzzer, so that their checks run with the
// tests in every configuration (sanitizers, the 32-bit target under its emulator):
// the target runs on every seed file of the directory given, then on a fixed sequence
// of inputs made from the seeds by random byte changes, cuts and insertions. A failed
// check traps, as under libFuzzer, after the input is named on standard error.
//
//   <name>_replay SEED_DIRECTORY [CHANGED_INPUTS (20000)]
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fuzz_input.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s SEED_DIRECTORY [CHANGED_INPUTS]\n", argv[0]);
    return 2;
  }
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    if (entry.is_regular_file() && entry.path().extension() != ".md") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  if (paths.empty()) {
    std::fprintf(stderr, "no seeds in %s\n", argv[1]);
    return 2;
  }
  norvane_fuzz::NameInputsOnCrash();
  std::vector<std::vector<uint8_t>> seeds;
  for (const auto& path : paths) {
    std::ifstream in(path, std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    norvane_fuzz::NameInput("seed %s", path.filename().c_str());
    LLVMFuzzerTestOneInput(seeds.back().data(), seeds.back().size());
  }
  const long changed = argc > 2 ? std::atol(argv[2]) : 20000;
  std::mt19937 random(1);
  for (long i = 0; i < changed; ++i) {
    const size_t from = random() % seeds.size();
    std::vector<uint8_t> input = seeds[from];
    for (int edits = 1 + random() % 8; edits > 0; --edits) {
      const size_t at = random() % (input.size() + 1);
      switch (random() % 4) {
        case 0:
          if (at < input.size()) input[at] ^= static_cast<uint8_t>(1u << (random() % 8));
          break;
        case 1:
          if (at < input.size()) input[at] = static_cast<uint8_t>(random());
          break;
        case 2:
          input.resize(at);
          break;
        default:
          input.insert(input.begin() + static_cast<std::ptrdiff_t>(at),
                       static_cast<uint8_t>(random()));
      }
    }
    norvane_fuzz::NameInput("changed input %ld, from seed %s", i, paths[from].filename().c_str());
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%zu seeds and %ld changed inputs passed\n", seeds.size(), changed);
  return 0;
}
