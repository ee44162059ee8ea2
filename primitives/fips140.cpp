// Monobit, poker, runs and long-run tests on a 20,000-bit sample.
#include "primitives/fips140.h"

#include <algorithm>
#include <array>
#include <bit>

namespace sigillo::fips140 {
namespace {

constexpr size_t kMaxCountedRun = 6;  // runs of 6 or more count as 6
constexpr size_t kLongRun = 34;

struct Interval {
  unsigned low, high;  // both allowed
};
// Runs of length 1, 2, 3, 4, 5 and 6 or more.
constexpr std::array<Interval, kMaxCountedRun> kRunBounds = {
    {{2267, 2733}, {1079, 1421}, {502, 748}, {223, 402}, {90, 223}, {90, 223}}};

// counts[bit][length − 1] for the runs of zeros (bit 0) and of ones (bit 1).
struct RunTally {
  std::array<std::array<unsigned, kMaxCountedRun>, 2> counts{};
  size_t longest = 0;
};

unsigned bitAt(const uint8_t* sample, size_t index) {
  return (sample[index / 8] >> (7 - index % 8)) & 1U;
}

RunTally tallyRuns(const uint8_t* sample) {
  RunTally tally;
  size_t length = 0;
  unsigned current = bitAt(sample, 0);
  auto close = [&] {
    ++tally.counts[current][std::min(length, kMaxCountedRun) - 1];
    tally.longest = std::max(tally.longest, length);
  };
  for (size_t i = 0; i < kSampleBits; ++i) {
    unsigned bit = bitAt(sample, i);
    if (bit != current) {
      close();
      current = bit;
      length = 0;
    }
    ++length;
  }
  close();  // the run that reaches the end of the sample
  return tally;
}

}  // namespace

bool monobitPasses(const uint8_t* sample) {
  unsigned ones = 0;
  for (size_t i = 0; i < kSampleBytes; ++i) ones += static_cast<unsigned>(std::popcount(sample[i]));
  return ones > 9654 && ones < 10346;
}

// With S = Σ f(i)², 100·X = 1600·S / 5000 − 500,000, so the bounds become
// 2,500,515,000 < 1600·S < 2,528,700,000 in integers.
bool pokerPasses(const uint8_t* sample) {
  std::array<uint64_t, 16> f{};
  for (size_t i = 0; i < kSampleBytes; ++i) {
    ++f[sample[i] >> 4];
    ++f[sample[i] & 0x0F];
  }
  uint64_t sumOfSquares = 0;
  for (uint64_t count : f) sumOfSquares += count * count;
  const uint64_t scaled = 1600 * sumOfSquares;
  return scaled > 2'500'515'000 && scaled < 2'528'700'000;
}

bool runsPass(const uint8_t* sample) {
  const RunTally tally = tallyRuns(sample);
  for (const auto& byLength : tally.counts) {
    for (size_t i = 0; i < kMaxCountedRun; ++i) {
      if (byLength[i] < kRunBounds[i].low || byLength[i] > kRunBounds[i].high) return false;
    }
  }
  return true;
}

bool longRunPasses(const uint8_t* sample) { return tallyRuns(sample).longest < kLongRun; }

std::optional<Test> firstFailure(const uint8_t* sample) {
  if (!monobitPasses(sample)) return Test::kMonobit;
  if (!pokerPasses(sample)) return Test::kPoker;
  if (!runsPass(sample)) return Test::kRuns;
  if (!longRunPasses(sample)) return Test::kLongRun;
  return std::nullopt;
}

}  // namespace sigillo::fips140
