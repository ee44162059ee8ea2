// Libraries made to cost the reader: magic numbers everywhere, FIFOs and
// devices named as libraries, entries claiming huge key-derivation costs.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "archive/codec_codes.h"
#include "archive/codec_crypto.h"
#include "archive/codec_library.h"
#include "tests/archive/coda_helpers.h"

namespace sigillo {
namespace {

using test::coda;
using test::q;
using test::readFile;
using test::TempDir;
using test::writeFile;

// A stored member whose data is all local magic numbers is dropped, and the
// scan through it finds the member behind, wherever the scan's buffer ends.
TEST(HostileLibraries, RebuildScansThroughMagicNumbers) {
  for (size_t size : {size_t{2} << 20, (size_t{2} << 20) + 3, (size_t{2} << 20) + 5001}) {
    SCOPED_TRACE(size);
    TempDir dir;
    const std::string lib = dir.file("l.cdl");
    std::string magic;
    while (magic.size() < size) magic += "SGLM";
    magic.resize(size);
    writeFile(dir.file("a.bin"), std::string(size, 'a'));
    writeFile(dir.file("b.txt"), "behind");
    for (const char* name : {"a.bin", "b.txt"}) {
      ASSERT_EQ(coda("cmp -s -mode 0 -lib " + q(lib) + " -fin " + q(dir.file(name))), 0);
    }
    std::string bytes = readFile(lib);
    const size_t data = bytes.find(std::string(size, 'a'));
    ASSERT_NE(data, std::string::npos);
    bytes.replace(data, size, magic);
    bytes[bytes.size() - 3] ^= 1;  // the index too
    writeFile(lib, bytes);
    const std::string out = dir.file("new.cdl");
    ASSERT_EQ(coda("rebuild -s -lib " + q(lib) + " -libout " + q(out)), 0);
    ASSERT_EQ(coda("dcp -s -lib " + q(out) + " -fout " + q(dir.file("b.out")) + " -nn b.txt"), 0);
    EXPECT_EQ(readFile(dir.file("b.out")), "behind");
  }
}

TEST(HostileLibraries, FifosAndDevicesAreRefusedNotRead) {
  TempDir dir;
  ASSERT_EQ(mkfifo(dir.file("fifo").c_str(), 0600), 0);
  for (const std::string& lib : {dir.file("fifo"), std::string("/dev/zero")}) {
    TRclearerrstack(nullptr);
    EXPECT_EQ(coda("rebuild -s -lib " + q(lib) + " -libout " + q(dir.file("x"))), 200) << lib;
    EXPECT_EQ(test::errorStack().front().message, lib + ": non e' un file regolare");
    EXPECT_FALSE(std::filesystem::exists(dir.file("x")));
  }
  // The other commands read the library through its index.
  const std::string fifo = q(dir.file("fifo"));
  EXPECT_EQ(coda("dump -s -lib " + fifo + " -fcmp *"), 175);
  EXPECT_EQ(coda("dcp -s -lib " + fifo + " -fout " + q(dir.file("x")) + " -nn a"), 175);
  writeFile(dir.file("a"), "a");
  EXPECT_EQ(coda("cmp -s -o -lib " + fifo + " -fin " + q(dir.file("a"))), 175);
}

TEST(HostileLibraries, KeyDerivationCostIsCapped) {
  codec::Entry e;
  e.name = "m";
  e.flags = codec::kMemberPassword;
  e.kdf = codec::kKdfPbkdf2Sha256;
  e.kdfCost = codec::kMaxPbkdf2Iterations + 1;
  SecureBytes key;
  TRclearerrstack(nullptr);
  EXPECT_EQ(codec::memberKey(e, std::string("pw"), &key), codec::kIndexCrc);
  EXPECT_EQ(test::errorStack().front().message,
            "m: 1000001 iterazioni di derivazione, oltre il massimo di 1000000");
  TRclrerr();
}

}  // namespace
}  // namespace sigillo
