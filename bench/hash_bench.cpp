// Throughput of the hash family's entry points over 16 KiB blocks, the
// block size HASH reads files in.
#include <benchmark/benchmark.h>

#include <vector>

#include "sigillo/sigillo.h"

namespace {

constexpr uint32_t kBlock = 16384;

using PlainEntry = uint16_t (*)(const uint8_t*, const uint32_t*, uint8_t*, const uint16_t*,
                                uint16_t*);

void runPlain(benchmark::State& state, PlainEntry entry) {
  std::vector<uint8_t> data(kBlock, 0x5A);
  uint8_t hashState[SIGILLO_HASH_STATE_SIZE];
  uint32_t len = kBlock;
  uint16_t first = SIGILLO_BLOCK_FIRST, middle = SIGILLO_BLOCK_MIDDLE, last = SIGILLO_BLOCK_LAST;
  uint16_t rc = 0;
  entry(data.data(), &len, hashState, &first, &rc);
  for (auto _ : state) entry(data.data(), &len, hashState, &middle, &rc);
  entry(data.data(), &len, hashState, &last, &rc);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlock);
}

void runKeyed(benchmark::State& state, bool retail) {
  std::vector<uint8_t> data(kBlock, 0x5A);
  const uint8_t k1[8] = {1, 2, 3, 4, 5, 6, 7, 8}, k2[8] = {8, 7, 6, 5, 4, 3, 2, 1};
  uint8_t hashState[SIGILLO_HASH_STATE_SIZE];
  uint32_t len = kBlock;
  uint16_t first = SIGILLO_BLOCK_FIRST, middle = SIGILLO_BLOCK_MIDDLE, last = SIGILLO_BLOCK_LAST;
  uint16_t variant = 1, rc = 0;
  auto call = [&](const uint16_t* mode) {
    if (retail) {
      MACSISO(data.data(), &len, hashState, mode, k1, k2, &variant, &rc);
    } else {
      MAAISO(data.data(), &len, hashState, mode, k1, k2, &rc);
    }
  };
  call(&first);
  for (auto _ : state) call(&middle);
  call(&last);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBlock);
}

void BM_SHA256(benchmark::State& s) { runPlain(s, SHA256); }
void BM_SHA1(benchmark::State& s) { runPlain(s, SHA1); }
void BM_SHA512(benchmark::State& s) { runPlain(s, SHA512); }
void BM_MD5(benchmark::State& s) { runPlain(s, MD5); }
void BM_RIPEMD(benchmark::State& s) { runPlain(s, RIPEMD); }
void BM_MD4(benchmark::State& s) { runPlain(s, MD4); }
void BM_MD2(benchmark::State& s) { runPlain(s, MD2); }
void BM_CRC16(benchmark::State& s) { runPlain(s, CRC16); }
void BM_FCS32(benchmark::State& s) { runPlain(s, FCS32); }
void BM_MACSISO(benchmark::State& s) { runKeyed(s, true); }
void BM_MAAISO(benchmark::State& s) { runKeyed(s, false); }

BENCHMARK(BM_SHA256);
BENCHMARK(BM_SHA1);
BENCHMARK(BM_SHA512);
BENCHMARK(BM_MD5);
BENCHMARK(BM_RIPEMD);
BENCHMARK(BM_MD4);
BENCHMARK(BM_MD2);
BENCHMARK(BM_CRC16);
BENCHMARK(BM_FCS32);
BENCHMARK(BM_MACSISO);
BENCHMARK(BM_MAAISO);

}  // namespace
