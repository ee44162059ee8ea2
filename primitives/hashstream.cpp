// Running computations of the hash entry points, kept by handle.
#include "primitives/hashstream.h"

#include <cstring>
#include <map>

#include "framework/trace.h"
#include "sigillo/sigillo.h"

namespace sigillo {
namespace {

constexpr const char* kModule = "hashstream";
constexpr uint8_t kMagic[4] = {'S', 'G', 'H', 'S'};

struct Stream {
  HashAlg alg;
  std::unique_ptr<Digest> digest;
};

std::map<uint32_t, Stream>& streams() {
  static std::map<uint32_t, Stream> table;
  return table;
}

uint32_t nextHandle = 1;

void storeHandle(uint8_t* state, uint32_t handle, HashAlg alg) {
  memset(state, 0, SIGILLO_HASH_STATE_SIZE);
  memcpy(state, kMagic, sizeof kMagic);
  memcpy(state + 4, &handle, sizeof handle);
  state[8] = static_cast<uint8_t>(alg);
}

// The running computation named by the state area, or null.
Stream* findStream(const uint8_t* state, HashAlg alg) {
  if (memcmp(state, kMagic, sizeof kMagic) != 0) return nullptr;
  uint32_t handle = 0;
  memcpy(&handle, state + 4, sizeof handle);
  auto it = streams().find(handle);
  if (it == streams().end() || it->second.alg != alg) return nullptr;
  return &it->second;
}

uint16_t startStream(HashAlg alg, const HashKeys& keys, uint8_t* state, Digest** digest) {
  if (streams().size() >= kMaxHashStreams) {
    return TRFAIL(305, "Calcoli aperti: %zu", streams().size());
  }
  std::unique_ptr<Digest> d = newHashAlg(alg, keys);
  if (!d) return TRLASTERR();
  while (nextHandle == 0 || streams().count(nextHandle) != 0) ++nextHandle;
  uint32_t handle = nextHandle++;
  *digest = d.get();
  streams().emplace(handle, Stream{alg, std::move(d)});
  storeHandle(state, handle, alg);
  return 0;
}

}  // namespace

uint16_t hashBlock(HashAlg alg, const uint8_t* data, uint32_t length, uint8_t* state,
                   uint16_t blockMode, const HashKeys& keys) {
  Digest* digest = nullptr;
  if ((blockMode & SIGILLO_BLOCK_FIRST) != 0) {
    uint16_t rc = startStream(alg, keys, state, &digest);
    if (rc != 0) return rc;
  } else {
    Stream* stream = findStream(state, alg);
    if (stream == nullptr) return TRFAIL(306, "state (3)");
    digest = stream->digest.get();
  }
  digest->update(data, length);
  if ((blockMode & SIGILLO_BLOCK_LAST) == 0) return 0;
  uint32_t handle = 0;
  memcpy(&handle, state + 4, sizeof handle);
  memset(state, 0, SIGILLO_HASH_STATE_SIZE);
  digest->finish(state);
  streams().erase(handle);
  return 0;
}

size_t openHashStreams() { return streams().size(); }

}  // namespace sigillo
