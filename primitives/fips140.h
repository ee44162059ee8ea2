// The four statistical tests of a random generator's output in FIPS 140-1
// (section 4.11.1): monobit, poker, runs and long run, each over one sample
// of 20,000 bits with the published bounds.  Bits are read most significant
// first within each byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace sigillo::fips140 {

constexpr size_t kSampleBits = 20000;
constexpr size_t kSampleBytes = kSampleBits / 8;

// Each reads kSampleBytes bytes at `sample`.
// 9,654 < number of ones < 10,346.
bool monobitPasses(const uint8_t* sample);
// 1.03 < X < 57.4, X = 16/5000 · Σ f(i)² − 5000 over the 5,000 nibbles.
bool pokerPasses(const uint8_t* sample);
// The runs of each length 1 to 5 and of 6 or more, of zeros and of ones
// alike, each within its interval.
bool runsPass(const uint8_t* sample);
// No run of 34 or more equal bits.
bool longRunPasses(const uint8_t* sample);

enum class Test { kMonobit, kPoker, kRuns, kLongRun };

// The first test failed, in the order above; nullopt when all pass.
std::optional<Test> firstFailure(const uint8_t* sample);

}  // namespace sigillo::fips140
