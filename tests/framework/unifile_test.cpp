// File layer: open table, memory files, whole-file helpers, names.
#include "framework/unifile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "framework/kvtmem.h"
#include "framework/trace.h"
#include "tests/common/testutil.h"

namespace sigillo {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

using test::Recorded;
constexpr auto Stack = test::errorStack;

uint32_t CurrentCode() {
  uint32_t code = 0;
  TRgeterr(&code, nullptr, 0);
  return code;
}

std::string CurrentText() {
  char text[4096];
  TRgeterr(nullptr, text, sizeof text);
  return text;
}

// The first error recorded (the one entry points report) and its function.
void ExpectFirst(uint32_t code, const std::string& function, const std::string& message) {
  std::vector<Recorded> stack = Stack();
  ASSERT_FALSE(stack.empty());
  EXPECT_EQ(stack[0].file, "unifile");
  EXPECT_EQ(stack[0].function, function);
  EXPECT_EQ(stack[0].code, code);
  EXPECT_EQ(stack[0].message, message);
  EXPECT_EQ(CurrentCode(), code);
}

std::string MemName(const void* block) {
  char name[32];
  snprintf(name, sizeof name, "0x%llx",
           static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(block)));
  return name;
}

// A caller block: u32 little-endian length, the data, then `room` spare bytes.
std::vector<uint8_t> Block(const std::string& data, size_t room = 64) {
  std::vector<uint8_t> block(4 + data.size() + room, 0xEE);
  const auto n = static_cast<uint32_t>(data.size());
  for (int i = 0; i < 4; ++i) block[i] = static_cast<uint8_t>(n >> (8 * i));
  memcpy(block.data() + 4, data.data(), data.size());
  return block;
}

uint32_t StoredLength(const std::vector<uint8_t>& block) {
  return block[0] | block[1] << 8 | block[2] << 16 | static_cast<uint32_t>(block[3]) << 24;
}

std::string StoredData(const std::vector<uint8_t>& block) {
  return std::string(block.begin() + 4, block.begin() + 4 + StoredLength(block));
}

class FileLayer : public ::testing::Test {
 protected:
  void SetUp() override {
    TRclrerr();
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string leaf = std::string("sigillo-unifile-") + std::to_string(getpid()) + "-" +
                       info->test_suite_name() + "-" + info->name();
    for (char& c : leaf) {
      if (c == '/') c = '_';
    }
    dir_ = fs::temp_directory_path() / leaf;
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override {
    TRclrerr();
    fs::remove_all(dir_);
  }

  std::string Path(const std::string& leaf) const { return (dir_ / leaf).string(); }

  std::string Write(const std::string& leaf, const std::string& content) const {
    std::string path = Path(leaf);
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

  fs::path dir_;
};

// ---------------------------------------------------------------- f_open table

struct OpenRow {
  const char* label;
  uint32_t flags;
  bool exists;
  uint16_t code;           // expected rc
  const char* message;     // expected message, %s = path; null on success
  const char* afterWrite;  // content after writing "XY" at the start and closing
};

class OpenTable : public FileLayer, public ::testing::WithParamInterface<OpenRow> {};

TEST_P(OpenTable, FollowsAccessTable) {
  const OpenRow& row = GetParam();
  std::string path = Path("f.bin");
  if (row.exists) Write("f.bin", "hello");
  uint16_t rc = 99;
  FHandle* h = f_open(path.c_str(), row.flags, 0, &rc);
  EXPECT_EQ(rc, row.code);
  if (row.message != nullptr) {
    EXPECT_EQ(h, nullptr);
    char expected[512];
    snprintf(expected, sizeof expected, row.message, path.c_str());
    ExpectFirst(row.code, "f_open", expected);
    EXPECT_EQ(fs::exists(path), row.exists);
    if (row.exists) {
      EXPECT_EQ(Read(path), "hello");
    }
    return;
  }
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(TRgeterrstklen(), 0u);
  if (row.afterWrite == nullptr) {
    char buf[16] = {};
    EXPECT_EQ(f_read(h, buf, sizeof buf), 5u);
    EXPECT_STREQ(buf, "hello");
    EXPECT_EQ(f_close(h), 0);
    EXPECT_EQ(Read(path), "hello");
    return;
  }
  EXPECT_EQ(f_write(h, "XY", 2), 0);
  EXPECT_EQ(f_close(h), 0);
  EXPECT_EQ(Read(path), row.afterWrite);
}

constexpr uint32_t kB = kKindBinary;
const char* const kNotFound = "file '%s' non trovato";
const char* const kBadKind = "file '%s' aperto con modalita' non valida";

INSTANTIATE_TEST_SUITE_P(
    Rows, OpenTable,
    ::testing::Values(
        OpenRow{"rw_notrunc_exists_keeps", kB | FM_READ | FM_WRITE | FM_NOTRUNC, true, 0, nullptr,
                "XYllo"},
        OpenRow{"rw_notrunc_missing_creates", kB | FM_READ | FM_WRITE | FM_NOTRUNC, false, 0,
                nullptr, "XY"},
        OpenRow{"rw_exists_truncates", kB | FM_READ | FM_WRITE, true, 0, nullptr, "XY"},
        OpenRow{"rw_missing_creates", kB | FM_READ | FM_WRITE, false, 0, nullptr, "XY"},
        OpenRow{"w_notrunc_exists_refused", kB | FM_WRITE | FM_NOTRUNC, true, 206, "%s", nullptr},
        OpenRow{"w_notrunc_missing_creates", kB | FM_WRITE | FM_NOTRUNC, false, 0, nullptr, "XY"},
        OpenRow{"w_exists_truncates", kB | FM_WRITE, true, 0, nullptr, "XY"},
        OpenRow{"w_missing_creates", kB | FM_WRITE, false, 0, nullptr, "XY"},
        OpenRow{"r_exists_reads", kB | FM_READ, true, 0, nullptr, nullptr},
        OpenRow{"r_missing_not_found", kB | FM_READ, false, 200, kNotFound, nullptr},
        OpenRow{"r_notrunc_missing_not_found", kB | FM_READ | FM_NOTRUNC, false, 200, kNotFound,
                nullptr},
        OpenRow{"neither_exists", kB, true, 200, "Modalita' di accesso 1 errata per il file '%s'",
                nullptr},
        OpenRow{"neither_notrunc_missing", 0x400 | 7, false, 200,
                "Modalita' di accesso 407 errata per il file '%s'", nullptr},
        OpenRow{"object_kind_reads", kKindObject | FM_READ, true, 0, nullptr, nullptr},
        OpenRow{"text_read", kKindText | FM_READ, true, 0, nullptr, nullptr},
        OpenRow{"text_missing_not_found", kKindText | FM_READ, false, 200, kNotFound, nullptr},
        // Text files are opened "w" for writing: always created or emptied.
        OpenRow{"text_write_notrunc_truncates", kKindText | FM_WRITE | FM_NOTRUNC, true, 0, nullptr,
                "XY"},
        OpenRow{"kind0_read", FM_READ, true, 200, kBadKind, nullptr},
        OpenRow{"kind0_write", FM_WRITE, true, 203, kBadKind, nullptr},
        OpenRow{"kind0_rw", FM_READ | FM_WRITE, false, 200, kBadKind, nullptr},
        OpenRow{"kind0_none", 0, false, 203, kBadKind, nullptr},
        OpenRow{"kind0_w_notrunc", FM_WRITE | FM_NOTRUNC, true, 203, kBadKind, nullptr},
        OpenRow{"kind10_read", 10 | FM_READ, true, 200, kBadKind, nullptr},
        OpenRow{"kind255_write", 0xFF | FM_WRITE, false, 203, kBadKind, nullptr}),
    [](const ::testing::TestParamInfo<OpenRow>& info) { return info.param.label; });

TEST_F(FileLayer, OpenFailuresNameTheSystemError) {
  struct Row {
    std::string path;
    uint32_t flags;
    uint16_t code;
    std::string message;
  } rows[] = {
      {dir_.string(), kB | FM_READ, 200,
       "Errore 21='Is a directory' sul file '" + dir_.string() + "'"},
      {dir_.string(), kKindText | FM_READ, 200,
       "Errore 21='Is a directory' sul file '" + dir_.string() + "'"},
      {dir_.string(), kB | FM_WRITE, 203,
       "Errore 21='Is a directory' sul file '" + dir_.string() + "'"},
      {Path("no/such.bin"), kB | FM_WRITE, 203,
       "Errore 2='No such file or directory' sul file '" + Path("no/such.bin") + "'"},
      {Path("no/such.bin"), kB | FM_READ | FM_WRITE | FM_NOTRUNC, 203,
       "Errore 2='No such file or directory' sul file '" + Path("no/such.bin") + "'"},
      {Path("no/such.txt"), kKindText | FM_WRITE, 203,
       "Errore 2='No such file or directory' sul file '" + Path("no/such.txt") + "'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path + " " + std::to_string(row.flags));
    TRclrerr();
    uint16_t rc = 0;
    EXPECT_EQ(f_open(row.path.c_str(), row.flags, 0, &rc), nullptr);
    EXPECT_EQ(rc, row.code);
    ExpectFirst(row.code, "f_open", row.message);
  }
}

TEST_F(FileLayer, OpenNullNameAndNullRc) {
  uint16_t rc = 0;
  EXPECT_EQ(f_open(nullptr, kB | FM_READ, 0, &rc), nullptr);
  EXPECT_EQ(rc, 2);
  ExpectFirst(2, "f_open", "name (1)");
  TRclrerr();
  EXPECT_EQ(f_open(Path("missing").c_str(), kB | FM_READ, 0, nullptr), nullptr);
  EXPECT_EQ(CurrentCode(), 200u);
  EXPECT_EQ(CurrentText(),
            "Impossibile aprire file di input: file '" + Path("missing") + "' non trovato");
}

TEST_F(FileLayer, CreationModes) {
  const mode_t old = umask(022);
  struct Row {
    uint32_t flags;
    uint32_t mode;
    bool exists;
    mode_t expected;
  } rows[] = {
      {kB | FM_WRITE, 0, false, 0644},
      {kB | FM_WRITE, 0600, false, 0600},
      {kB | FM_WRITE, 0666, false, 0666},  // an explicit mode is not filtered by the umask
      {kB | FM_WRITE, 0600, true, 0600},   // emptied: the requested mode applies
      {kB | FM_READ | FM_WRITE | FM_NOTRUNC, 0600, false, 0600},
      {kB | FM_READ | FM_WRITE | FM_NOTRUNC, 0600, true, 0644},  // kept: mode untouched
      {kKindText | FM_WRITE, 0640, false, 0640},
  };
  int i = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(i);
    std::string path = Path("m" + std::to_string(i++));
    if (row.exists) {
      Write(fs::path(path).filename().string(), "old");
      chmod(path.c_str(), 0644);
    }
    FilePtr h(f_open(path.c_str(), row.flags, row.mode, nullptr));
    ASSERT_TRUE(h);
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, row.expected);
  }
  umask(old);
}

// ---------------------------------------------------------------- handle I/O

TEST_F(FileLayer, TextFileLinesAndCharacters) {
  std::string path = Path("t.txt");
  FHandle* w = f_open(path.c_str(), kKindText | FM_WRITE, 0, nullptr);
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(f_puts("alpha\n", w), 0);
  EXPECT_EQ(f_printf(w, "%s=%d\n", "beta", 42), 8);
  EXPECT_EQ(f_putc('z', w), 'z');
  EXPECT_EQ(f_size(w), 15);  // buffered bytes are counted
  EXPECT_EQ(f_close(w), 0);
  EXPECT_EQ(Read(path), "alpha\nbeta=42\nz");

  FilePtr r(f_open(path.c_str(), kKindText | FM_READ, 0, nullptr));
  ASSERT_TRUE(r);
  char line[8];
  EXPECT_STREQ(f_gets(line, sizeof line, r.get()), "alpha\n");
  EXPECT_STREQ(f_gets(line, 5, r.get()), "beta");  // size - 1 characters at most
  EXPECT_STREQ(f_gets(line, sizeof line, r.get()), "=42\n");
  EXPECT_EQ(f_tell(r.get()), 14);
  EXPECT_EQ(f_getc(r.get()), 'z');
  EXPECT_EQ(f_eof(r.get()), 0);
  EXPECT_EQ(f_getc(r.get()), EOF);
  EXPECT_EQ(f_eof(r.get()), 1);
  EXPECT_EQ(f_gets(line, sizeof line, r.get()), nullptr);
  EXPECT_EQ(f_error(r.get()), 0);
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(FileLayer, SeekTellSizeOnDisk) {
  std::string path = Write("s.bin", "0123456789");
  FilePtr h(f_open(path.c_str(), kB | FM_READ, 0, nullptr));
  ASSERT_TRUE(h);
  EXPECT_EQ(f_size(h.get()), 10);
  EXPECT_EQ(f_seek(h.get(), -3, SEEK_END), 0);
  EXPECT_EQ(f_tell(h.get()), 7);
  EXPECT_EQ(f_getc(h.get()), '7');
  EXPECT_EQ(f_seek(h.get(), 2, SEEK_SET), 0);
  char buf[3] = {};
  EXPECT_EQ(f_read(h.get(), buf, 2), 2u);
  EXPECT_EQ(std::string(buf), "23");
  EXPECT_EQ(TRgeterrstklen(), 0u);

  EXPECT_EQ(f_seek(h.get(), -1, SEEK_SET), -1);
  ExpectFirst(308, "f_seek", "Errore di posizionamento nel file '" + path + "'");
}

TEST_F(FileLayer, PositionFailuresOnAPipe) {
  std::string path = Path("fifo");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  // Read-write keeps open(2) from waiting for a writer.
  FilePtr h(f_open(path.c_str(), kB | FM_READ | FM_WRITE | FM_NOTRUNC, 0, nullptr));
  ASSERT_TRUE(h);
  EXPECT_EQ(f_tell(h.get()), -1);
  ExpectFirst(308, "f_tell", "Impossibile determinare posizione nel file '" + path + "'");
  TRclrerr();
  EXPECT_EQ(f_seek(h.get(), 0, SEEK_SET), -1);
  ExpectFirst(308, "f_seek", "Errore di posizionamento nel file '" + path + "'");
}

TEST_F(FileLayer, WriteAndCloseFailures) {
  // Refused writes on a read-only handle.
  std::string path = Write("ro.bin", "abc");
  FilePtr ro(f_open(path.c_str(), kB | FM_READ, 0, nullptr));
  ASSERT_TRUE(ro);
  EXPECT_EQ(f_write(ro.get(), "x", 1), 204);
  ExpectFirst(204, "f_write", "Errore 9='Bad file descriptor' sul file '" + path + "'");
  EXPECT_EQ(f_error(ro.get()), 1);
  TRclrerr();
  EXPECT_EQ(f_putc('x', ro.get()), EOF);
  EXPECT_EQ(Stack().at(0).function, "f_putc");

  // A full device accepts buffered bytes and fails when they are flushed.
  TRclrerr();
  FHandle* full = f_open("/dev/full", kB | FM_WRITE, 0, nullptr);
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(f_write(full, "abc", 3), 0);
  EXPECT_EQ(f_close(full), 205);
  ExpectFirst(205, "f_close", "Errore 28='No space left on device' sul file '/dev/full'");

  TRclrerr();
  FilePtr flushed(f_open("/dev/full", kB | FM_WRITE, 0, nullptr));
  ASSERT_TRUE(flushed);
  EXPECT_EQ(f_write(flushed.get(), "abc", 3), 0);
  EXPECT_EQ(f_flush(flushed.get()), EOF);
  ExpectFirst(204, "f_flush", "Errore 28='No space left on device' sul file '/dev/full'");
  flushed.reset();

  TRclrerr();
  FilePtr big(f_open("/dev/full", kB | FM_WRITE, 0, nullptr));
  std::vector<char> data(1 << 20, 'a');
  EXPECT_EQ(f_write(big.get(), data.data(), data.size()), 204);
  ExpectFirst(204, "f_write", "Errore 28='No space left on device' sul file '/dev/full'");
  TRenable(0);  // the close of the broken handle fails again
  big.reset();
  TRenable(1);
}

TEST_F(FileLayer, NullArguments) {
  struct Row {
    const char* label;
    bool (*call)();
    uint32_t code;
    const char* function;
    const char* message;
  } rows[] = {
      {"read", [] { return f_read(nullptr, nullptr, 1) == 0; }, 2, "f_read", "handle (1)"},
      {"write", [] { return f_write(nullptr, "a", 1) == 2; }, 2, "f_write", "handle (1)"},
      {"getc", [] { return f_getc(nullptr) == EOF; }, 2, "f_getc", "handle (1)"},
      {"putc", [] { return f_putc('a', nullptr) == EOF; }, 2, "f_putc", "handle (2)"},
      {"gets", [] { return f_gets(nullptr, 4, nullptr) == nullptr; }, 2, "f_gets", "buffer (1)"},
      {"gets_size",
       [] {
         char b[4];
         return f_gets(b, 0, nullptr) == nullptr;
       },
       5, "f_gets", "size (2)"},
      {"gets_handle",
       [] {
         char b[4];
         return f_gets(b, 4, nullptr) == nullptr;
       },
       2, "f_gets", "handle (3)"},
      {"puts", [] { return f_puts(nullptr, nullptr) == EOF; }, 2, "f_puts", "text (1)"},
      {"seek", [] { return f_seek(nullptr, 0, SEEK_SET) == -1; }, 2, "f_seek", "handle (1)"},
      {"tell", [] { return f_tell(nullptr) == -1; }, 2, "f_tell", "handle (1)"},
      {"size", [] { return f_size(nullptr) == -1; }, 2, "f_size", "handle (1)"},
      {"save", [] { return f_save(nullptr, kB, 0, "a", 1) == 2; }, 2, "f_save", "name (1)"},
      {"save_data", [] { return f_save("x", kB, 0, nullptr, 1) == 2; }, 2, "f_save", "data (4)"},
      {"ldber", [] { return LdBERInBuf(nullptr, nullptr, 0, nullptr) == 2; }, 2, "LdBERInBuf",
       "name (1)"},
      {"ldber_buffer", [] { return LdBERInBuf("x", nullptr, 4, nullptr) == 2; }, 2, "LdBERInBuf",
       "buffer (2)"},
      {"bersize", [] { return fbersize(nullptr) == -1; }, 2, "fbersize", "name (1)"},
      {"rename_from", [] { return f_rename(nullptr, "b") == 2; }, 2, "f_rename", "from (1)"},
      {"rename_to", [] { return f_rename("a", nullptr) == 2; }, 2, "f_rename", "to (2)"},
      {"remove", [] { return f_remove(nullptr) == 2; }, 2, "f_remove", "name (1)"},
      {"maketemp", [] { return Nmaketemp(nullptr, nullptr, 10) == 2; }, 2, "Nmaketemp", "name (2)"},
      {"rmtemp", [] { return removeTmpFile(nullptr) == 2; }, 2, "removeTmpFile", "name (1)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    TRclrerr();
    EXPECT_TRUE(row.call());
    ExpectFirst(row.code, row.function, row.message);
  }
  TRclrerr();
  EXPECT_EQ(f_close(nullptr), 0);
  EXPECT_EQ(f_eof(nullptr), 1);
  EXPECT_EQ(f_error(nullptr), 1);
  EXPECT_EQ(f_name(nullptr), nullptr);
  EXPECT_FALSE(f_exists(nullptr));
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(FileLayer, NullHandleWritesToStandardOutput) {
  ::testing::internal::CaptureStdout();
  EXPECT_GE(f_puts("uno ", nullptr), 0);
  EXPECT_EQ(f_printf(nullptr, "%d-%s", 7, "due"), 5);
  EXPECT_EQ(f_flush(nullptr), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "uno 7-due");
}

// ---------------------------------------------------------------- memory files

TEST(MemoryFileName, Recognition) {
  struct Row {
    const char* name;
    bool memory;
  } rows[] = {
      {"0x1234567890ab", true}, {"0x1234", true},    {"0xABCdef", true},  {"0x12", false},
      {"0x123", false},         {"0x12g456", false}, {"0X123456", false}, {"1x123456", false},
      {"0x12345 ", false},      {"", false},         {nullptr, false},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(isMemoryFileName(row.name), row.memory) << (row.name ? row.name : "(null)");
  }
}

TEST_F(FileLayer, MemoryRead) {
  std::vector<uint8_t> block = Block("hello");
  const std::vector<uint8_t> before = block;
  std::string name = MemName(block.data());
  FHandle* h = f_open(name.c_str(), kB | FM_READ, 0, nullptr);
  ASSERT_NE(h, nullptr);
  EXPECT_STREQ(f_name(h), name.c_str());
  EXPECT_EQ(f_size(h), 5);
  char buf[16] = {};
  EXPECT_EQ(f_read(h, buf, 3), 3u);
  EXPECT_EQ(f_tell(h), 3);
  EXPECT_EQ(f_eof(h), 0);
  EXPECT_EQ(f_read(h, buf + 3, 10), 2u);
  EXPECT_STREQ(buf, "hello");
  EXPECT_EQ(f_eof(h), 1);
  EXPECT_EQ(f_getc(h), EOF);
  EXPECT_EQ(f_seek(h, 1, SEEK_SET), 0);
  EXPECT_EQ(f_eof(h), 0);
  EXPECT_EQ(f_getc(h), 'e');
  EXPECT_EQ(f_write(h, "x", 1), 204);
  ExpectFirst(204, "f_write", "Errore 9='Bad file descriptor' sul file '" + name + "'");
  EXPECT_EQ(f_close(h), 0);
  EXPECT_EQ(block, before);  // a read handle never touches the block
}

TEST_F(FileLayer, MemoryWriteModes) {
  struct Row {
    const char* label;
    uint32_t flags;
    int64_t sizeAtOpen;
    const char* stored;  // content after seeking to the end, writing "XYZ", closing
  } rows[] = {
      {"write_starts_empty", kB | FM_WRITE, 0, "XYZ"},
      {"rw_starts_empty", kB | FM_READ | FM_WRITE, 0, "XYZ"},
      {"write_notrunc_keeps", kB | FM_WRITE | FM_NOTRUNC, 5, "helloXYZ"},
      {"rw_notrunc_keeps", kB | FM_READ | FM_WRITE | FM_NOTRUNC, 5, "helloXYZ"},
      {"text_write", kKindText | FM_WRITE, 0, "XYZ"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    std::vector<uint8_t> block = Block("hello");
    const std::vector<uint8_t> before = block;
    std::string name = MemName(block.data());
    uint16_t rc = 99;
    FHandle* h = f_open(name.c_str(), row.flags, 0, &rc);
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(f_size(h), row.sizeAtOpen);
    EXPECT_EQ(f_seek(h, 0, SEEK_END), 0);
    EXPECT_EQ(f_write(h, "XYZ", 3), 0);
    EXPECT_EQ(f_close(h), 0);
    EXPECT_EQ(StoredData(block), row.stored);
    const size_t end = 4 + strlen(row.stored);
    EXPECT_EQ(block[end], before[end]);  // nothing written past the content
  }
  EXPECT_EQ(TRgeterrstklen(), 0u);
}

TEST_F(FileLayer, MemoryOverwriteAndFormattedOutput) {
  std::vector<uint8_t> block = Block("abcdefgh");
  std::string name = MemName(block.data());
  FHandle* h = f_open(name.c_str(), kB | FM_READ | FM_WRITE | FM_NOTRUNC, 0, nullptr);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(f_seek(h, 2, SEEK_SET), 0);
  EXPECT_EQ(f_write(h, "XY", 2), 0);  // inside the content: the length does not change
  EXPECT_EQ(f_size(h), 8);
  EXPECT_EQ(f_seek(h, -1, SEEK_CUR), 0);
  EXPECT_EQ(f_getc(h), 'Y');
  EXPECT_EQ(f_seek(h, 0, SEEK_END), 0);
  EXPECT_EQ(f_printf(h, "[%05d|%s]", 42, "ok"), 10);
  EXPECT_EQ(f_puts("!", h), 0);
  EXPECT_EQ(f_putc('\n', h), '\n');
  EXPECT_EQ(f_close(h), 0);
  EXPECT_EQ(StoredLength(block), 20u);
  EXPECT_EQ(StoredData(block), "abXYefgh[00042|ok]!\n");
}

TEST_F(FileLayer, MemoryLinesAndSeekLimits) {
  std::vector<uint8_t> block = Block("uno\ndue\ntre");
  std::string name = MemName(block.data());
  FilePtr h(f_open(name.c_str(), kKindText | FM_READ, 0, nullptr));
  ASSERT_TRUE(h);
  char line[16];
  std::vector<std::string> lines;
  while (f_gets(line, sizeof line, h.get()) != nullptr) lines.push_back(line);
  EXPECT_EQ(lines, (std::vector<std::string>{"uno\n", "due\n", "tre"}));

  struct Row {
    int64_t offset;
    int whence;
    int result;
  } rows[] = {{11, SEEK_SET, 0},   {12, SEEK_SET, -1}, {-1, SEEK_SET, -1},
              {0, SEEK_END, 0},    {1, SEEK_END, -1},  {-11, SEEK_END, 0},
              {-12, SEEK_END, -1}, {0, 99, -1},        {INT64_MAX, SEEK_END, -1}};
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.offset) + "/" + std::to_string(row.whence));
    TRclrerr();
    EXPECT_EQ(f_seek(h.get(), row.offset, row.whence), row.result);
    if (row.result != 0) {
      ExpectFirst(308, "f_seek", "Errore di posizionamento nel file '" + name + "'");
    }
  }
}

TEST_F(FileLayer, MemoryOpenRefusals) {
  std::vector<uint8_t> block = Block("x");
  std::string name = MemName(block.data());
  struct Row {
    std::string name;
    uint32_t flags;
    uint16_t code;
    std::string message;
  } rows[] = {
      {name, FM_READ, 200, "file '" + name + "' aperto con modalita' non valida"},
      {name, 10 | FM_WRITE, 203, "file '" + name + "' aperto con modalita' non valida"},
      {"0x000000", kB | FM_READ, 200, "Indirizzo di memoria '0x000000' non valido"},
      {"0x10000000000000000", kB | FM_WRITE, 203,
       "Indirizzo di memoria '0x10000000000000000' non valido"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TRclrerr();
    uint16_t rc = 0;
    EXPECT_EQ(f_open(row.name.c_str(), row.flags, 0, &rc), nullptr);
    EXPECT_EQ(rc, row.code);
    ExpectFirst(row.code, "f_open", row.message);
  }
  // Nothing but the kind is checked for a memory block: no access bits is fine.
  TRclrerr();
  FilePtr h(f_open(name.c_str(), kB, 0, nullptr));
  EXPECT_TRUE(h);
  EXPECT_FALSE(f_exists(name.c_str()));
}

TEST_F(FileLayer, ShortMemoryNameIsADiskFile) {
  // "0x" and two hex digits is an ordinary name, resolved in the current folder.
  const fs::path cwd = fs::current_path();
  fs::current_path(dir_);
  EXPECT_EQ(f_save("0xab", kB, 0, "disk", 4), 0);
  EXPECT_EQ(Read(Path("0xab")), "disk");
  fs::current_path(cwd);
}

// ---------------------------------------------------------------- f_load / f_save

TEST_F(FileLayer, LoadBinaryAndText) {
  std::string binary("\x00\x01\xff\n\r\x00z", 7);
  std::string longLine(3000, 'L');
  std::string text = "prima riga\n" + longLine + "\n\nultima";
  struct Row {
    const char* label;
    std::string content;
    uint32_t kind;
  } rows[] = {
      {"binary", binary, kKindBinary},
      {"object", binary, kKindObject},
      {"text_long_line", text, kKindText},
      {"text_one_char", "x", kKindText},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    std::string path = Write(row.label, row.content);
    uint64_t length = 99;
    uint16_t rc = 99;
    uint8_t* data = f_load(path.c_str(), row.kind, 0, &length, &rc);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(length, row.content.size());
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), length), row.content);
    if (row.kind == kKindText) {
      EXPECT_EQ(data[length], '\0');
    }
    TRFREE(data);
    EXPECT_EQ(TRgeterrstklen(), 0u);
  }
}

TEST_F(FileLayer, LoadFailures) {
  std::string empty = Write("empty", "");
  std::string missing = Path("missing");
  struct Row {
    const char* label;
    std::string name;
    uint32_t flags;
    uint16_t code;
    std::vector<Recorded> stack;
  } rows[] = {
      {"empty_binary", empty, kKindBinary, 249, {{"unifile", "f_load", 249, empty}}},
      {"empty_text", empty, kKindText, 249, {{"unifile", "f_load", 249, empty}}},
      {"missing",
       missing,
       kKindBinary,
       200,
       {{"unifile", "f_open", 200, "file '" + missing + "' non trovato"},
        {"unifile", "f_load", 301, "Esecuzione fallita"}}},
      {"kind0",
       empty,
       0,
       200,
       {{"unifile", "f_open", 200, "file '" + empty + "' aperto con modalita' non valida"},
        {"unifile", "f_load", 301, "Esecuzione fallita"}}},
      {"directory",
       dir_.string(),
       kKindBinary,
       200,
       {{"unifile", "f_open", 200, "Errore 21='Is a directory' sul file '" + dir_.string() + "'"},
        {"unifile", "f_load", 301, "Esecuzione fallita"}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    TRerr("test", 1, "earlier", 77, "stale");  // f_load starts from a clean stack
    uint64_t length = 99;
    uint16_t rc = 0;
    EXPECT_EQ(f_load(row.name.c_str(), row.flags, 0, &length, &rc), nullptr);
    EXPECT_EQ(rc, row.code);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(CurrentCode(), row.code);
    std::vector<Recorded> stack = Stack();
    ASSERT_EQ(stack.size(), row.stack.size());
    for (size_t i = 0; i < stack.size(); ++i) {
      EXPECT_EQ(stack[i].file, row.stack[i].file);
      EXPECT_EQ(stack[i].function, row.stack[i].function);
      EXPECT_EQ(stack[i].code, row.stack[i].code);
      EXPECT_EQ(stack[i].message, row.stack[i].message);
    }
  }
  TRclrerr();
  EXPECT_EQ(CurrentText(), "OK");
}

TEST_F(FileLayer, LoadWithoutNameIsNotAnError) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    TRerr("test", 1, "earlier", 77, "stale");
    uint64_t length = 99;
    uint16_t rc = 99;
    EXPECT_EQ(f_load(name, kKindBinary, 0, &length, &rc), nullptr);
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(CurrentCode(), 0u);
    EXPECT_EQ(TRgeterrstklen(), 0u);
  }
}

TEST_F(FileLayer, LoadNeverWrites) {
  std::string path = Write("keep", "contenuto");
  uint64_t length = 0;
  uint8_t* data = f_load(path.c_str(), kKindBinary | FM_WRITE, 0, &length, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), length), "contenuto");
  TRFREE(data);
  EXPECT_EQ(Read(path), "contenuto");
}

TEST_F(FileLayer, SaveLoadRoundTripOnDiskAndMemory) {
  std::string payload("\x30\x03\x02\x01\x00", 5);
  std::string path = Path("rt.der");
  ASSERT_EQ(f_save(path.c_str(), kKindObject, 0, payload.data(), payload.size()), 0);
  EXPECT_EQ(Read(path), payload);

  std::vector<uint8_t> block = Block("", 16);
  std::string name = MemName(block.data());
  ASSERT_EQ(f_save(name.c_str(), kKindObject, 0, payload.data(), payload.size()), 0);
  EXPECT_EQ(StoredLength(block), 5u);
  uint64_t length = 0;
  uint8_t* data = f_load(name.c_str(), kKindObject, 0, &length, nullptr);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(data), length), payload);
  TRFREE(data);

  // An empty save makes an empty file (and an empty block).
  EXPECT_EQ(f_save(path.c_str(), kKindObject, 0, nullptr, 0), 0);
  EXPECT_EQ(fbersize(path.c_str()), 0);
  EXPECT_EQ(f_save(name.c_str(), kKindObject, 0, nullptr, 0), 0);
  EXPECT_EQ(StoredLength(block), 0u);
}

TEST_F(FileLayer, SaveFailures) {
  std::string existing = Write("exists", "old");
  EXPECT_EQ(f_save(existing.c_str(), kKindBinary | FM_NOTRUNC, 0, "new", 3), 206);
  std::vector<Recorded> stack = Stack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(stack[0].function, "f_open");
  EXPECT_EQ(stack[0].code, 206u);
  EXPECT_EQ(stack[0].message, existing);
  EXPECT_EQ(stack[1].function, "f_save");
  EXPECT_EQ(stack[1].code, 301u);
  EXPECT_EQ(Read(existing), "old");
  EXPECT_EQ(CurrentText(), "File di output esistente: " + existing);

  TRclrerr();
  EXPECT_EQ(f_save("/dev/full", kKindBinary, 0, "abc", 3), 205);
  stack = Stack();
  ASSERT_EQ(stack.size(), 2u);
  EXPECT_EQ(stack[0].function, "f_close");
  EXPECT_EQ(stack[0].message, "Errore 28='No space left on device' sul file '/dev/full'");
  EXPECT_EQ(stack[1].function, "f_save");
}

// ---------------------------------------------------------------- LdBERInBuf / fbersize

TEST_F(FileLayer, LdBERInBufLimits) {
  struct Row {
    const char* label;
    std::string content;
    uint64_t size;
    uint16_t code;
    const char* message;  // %s = path
  } rows[] = {
      {"exact_fit", "\x30\x02\x05\x00"s, 4, 0, nullptr},
      {"smaller", "\x05\x00"s, 4, 0, nullptr},
      {"too_big", "\x30\x03\x02\x01\x07"s, 4, 10,
       "Il file '%s' (5 byte) e' piu' grande della dimensione interna 4"},
      {"zero_room", "\x05\x00"s, 0, 10,
       "Il file '%s' (2 byte) e' piu' grande della dimensione interna 0"},
      {"empty", "", 4, 249, "%s"},
      {"empty_zero_room", "", 0, 249, "%s"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    TRclrerr();
    std::string path = Write(row.label, row.content);
    std::vector<uint8_t> buffer(8, 0xAA);
    uint64_t length = 99;
    EXPECT_EQ(LdBERInBuf(path.c_str(), buffer.data(), row.size, &length), row.code);
    if (row.message == nullptr) {
      EXPECT_EQ(length, row.content.size());
      EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + length), row.content);
      EXPECT_EQ(buffer[row.size], 0xAA);
      EXPECT_EQ(TRgeterrstklen(), 0u);
    } else {
      char expected[512];
      snprintf(expected, sizeof expected, row.message, path.c_str());
      ExpectFirst(row.code, "LdBERInBuf", expected);
      EXPECT_EQ(length, 0u);
    }
  }
  TRclrerr();
  std::string missing = Path("missing.der");
  uint8_t buffer[4];
  EXPECT_EQ(LdBERInBuf(missing.c_str(), buffer, sizeof buffer, nullptr), 200);
  ExpectFirst(200, "f_open", "file '" + missing + "' non trovato");
  EXPECT_EQ(Stack().at(1).function, "LdBERInBuf");
}

TEST_F(FileLayer, LdBERInBufFromMemory) {
  std::vector<uint8_t> block = Block("\x04\x01\x41");
  std::string name = MemName(block.data());
  uint8_t buffer[3];
  uint64_t length = 0;
  EXPECT_EQ(LdBERInBuf(name.c_str(), buffer, sizeof buffer, &length), 0);
  EXPECT_EQ(length, 3u);
  EXPECT_EQ(memcmp(buffer, "\x04\x01\x41", 3), 0);
  EXPECT_EQ(LdBERInBuf(name.c_str(), buffer, 2, &length), 10);
  ExpectFirst(10, "LdBERInBuf",
              "Il file '" + name + "' (3 byte) e' piu' grande della dimensione interna 2");
}

TEST_F(FileLayer, Fbersize) {
  EXPECT_EQ(fbersize(Write("seven", "1234567").c_str()), 7);
  EXPECT_EQ(fbersize(Write("none", "").c_str()), 0);
  EXPECT_EQ(TRgeterrstklen(), 0u);
  std::string missing = Path("missing");
  EXPECT_EQ(fbersize(missing.c_str()), -1);
  ExpectFirst(200, "f_open", "file '" + missing + "' non trovato");
  EXPECT_EQ(Stack().at(1).function, "fbersize");
}

// ---------------------------------------------------------------- names

TEST_F(FileLayer, RenameAndRemove) {
  std::string from = Write("a", "dati");
  std::string to = Path("b");
  EXPECT_EQ(f_rename(from.c_str(), to.c_str()), 0);
  EXPECT_FALSE(f_exists(from.c_str()));
  EXPECT_EQ(Read(to), "dati");
  EXPECT_EQ(f_remove(to.c_str()), 0);
  EXPECT_FALSE(f_exists(to.c_str()));
  EXPECT_EQ(TRgeterrstklen(), 0u);

  std::string live = Write("live", "x");
  fs::create_directories(dir_ / "full" / "child");
  std::vector<uint8_t> block = Block("m");
  std::string mem = MemName(block.data());
  struct Row {
    const char* label;
    uint16_t (*call)(const std::string&, const std::string&);
    std::string a, b;
    uint16_t code;
    std::string function, message;
  } rows[] = {
      {"rename_missing", [](auto& a, auto& b) { return f_rename(a.c_str(), b.c_str()); },
       Path("nope"), to, 200, "f_rename", "file '" + Path("nope") + "' non trovato"},
      {"rename_into_missing_dir", [](auto& a, auto& b) { return f_rename(a.c_str(), b.c_str()); },
       live, Path("no/dir"), 203, "f_rename",
       "Errore 2='No such file or directory' sul file '" + Path("no/dir") + "'"},
      {"rename_over_directory", [](auto& a, auto& b) { return f_rename(a.c_str(), b.c_str()); },
       live, Path("full"), 203, "f_rename",
       "Errore 21='Is a directory' sul file '" + Path("full") + "'"},
      {"rename_memory", [](auto& a, auto& b) { return f_rename(a.c_str(), b.c_str()); }, mem, to,
       203, "f_rename", "Errore 22='Invalid argument' sul file '" + mem + "'"},
      {"remove_missing", [](auto& a, auto&) { return f_remove(a.c_str()); }, Path("nope"), "", 200,
       "f_remove", "file '" + Path("nope") + "' non trovato"},
      {"remove_directory", [](auto& a, auto&) { return f_remove(a.c_str()); }, Path("full"), "",
       203, "f_remove", "Errore 21='Is a directory' sul file '" + Path("full") + "'"},
      {"remove_memory", [](auto& a, auto&) { return f_remove(a.c_str()); }, mem, "", 203,
       "f_remove", "Errore 22='Invalid argument' sul file '" + mem + "'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.label);
    TRclrerr();
    EXPECT_EQ(row.call(row.a, row.b), row.code);
    ExpectFirst(row.code, row.function, row.message);
  }
  EXPECT_EQ(Read(live), "x");
}

struct DebugLog {
  std::vector<std::string> messages;
  static void Collect(void* arg, const char*, int, const char* function, uint32_t level, uint32_t,
                      const char* message) {
    if (level == 7) {
      static_cast<DebugLog*>(arg)->messages.push_back(std::string(function) + "|" + message);
    }
  }
};

TEST_F(FileLayer, TemporaryNames) {
  DebugLog log;
  const uint32_t level = TRgetlev();
  TRsetlev(7);
  TRsetcallback(&log, &DebugLog::Collect);
  char first[256];
  char second[256];
  uint16_t rc1 = Nmaketemp(dir_.c_str(), first, sizeof first);
  uint16_t rc2 = Nmaketemp((dir_.string() + "/").c_str(), second, sizeof second);
  TRsetcallback(nullptr, nullptr);
  TRsetlev(level);
  ASSERT_EQ(rc1, 0);
  ASSERT_EQ(rc2, 0);
  const std::string prefix = dir_.string() + "/kvt";
  for (const char* name : {first, second}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(std::string(name).substr(0, prefix.size()), prefix);
    EXPECT_EQ(strlen(name), prefix.size() + 6);
    struct stat st {};
    ASSERT_EQ(stat(name, &st), 0);  // the name is reserved on disk
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    EXPECT_EQ(st.st_size, 0);
  }
  EXPECT_STRNE(first, second);
  ASSERT_EQ(log.messages.size(), 2u);
  const std::string reported = std::string(": Generato nome file '") + second + "'";
  EXPECT_EQ(log.messages[1].substr(0, 10), "Nmaketemp|");
  ASSERT_GE(log.messages[1].size(), reported.size());
  EXPECT_EQ(log.messages[1].substr(log.messages[1].size() - reported.size()), reported);

  EXPECT_EQ(removeTmpFile(first), 0);
  EXPECT_FALSE(f_exists(first));
  EXPECT_EQ(removeTmpFile(first), 231);
  ExpectFirst(231, "removeTmpFile", first);
  EXPECT_EQ(CurrentText(), std::string("Fallita cancellazione file temporaneo: ") + first);
}

TEST_F(FileLayer, TemporaryNameFailures) {
  char name[256];
  EXPECT_EQ(Nmaketemp(Path("missing/dir").c_str(), name, sizeof name), 30);
  ExpectFirst(30, "Nmaketemp", "Generazione casuale fallita");
  EXPECT_STREQ(name, "");

  TRclrerr();
  char small[8];
  EXPECT_EQ(Nmaketemp(dir_.c_str(), small, sizeof small), 5);
  ExpectFirst(5, "Nmaketemp", "size (3)");
  EXPECT_STREQ(small, "");
  EXPECT_TRUE(fs::is_empty(dir_));

  // Without a folder the name is made in the current one.
  TRclrerr();
  const fs::path cwd = fs::current_path();
  fs::current_path(dir_);
  EXPECT_EQ(Nmaketemp(nullptr, name, 10), 0);
  EXPECT_EQ(strncmp(name, "kvt", 3), 0);
  EXPECT_TRUE(fs::exists(dir_ / name));
  EXPECT_EQ(removeTmpFile(name), 0);
  fs::current_path(cwd);
}

}  // namespace
}  // namespace sigillo
