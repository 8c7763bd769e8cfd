// SBXReadXML and SBXWriteXML where the system sets limits: rights, sizes, memory, full devices.
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/child_process.h"
#include "support/sanitizers.h"
#include "text_files_fixture.h"

namespace sbx::testing {
namespace {

TEST_F(ReadFailures, AFileWithoutPermission) {
  folder.Write("file.xml", "<a/>");
  chmod(folder.path().c_str(), 0755);
  chmod((folder.path() / "file.xml").c_str(), 0600);
  EXPECT_EQ(InChild([this] {
              if (getuid() == 0) {
                Require(setgid(65534) == 0);
                Require(setuid(65534) == 0);  // the owner of the tests may read anything
              } else {
                Require(chmod((folder.path() / "file.xml").c_str(), 0) == 0);
              }
              std::int32_t size = 0;
              Require(SBXReadXML(path.c_str(), nullptr, &size) == SBX_E_FILE);
              Require(Lines() == Log{{0, Text(u"Create file %s failed(ErrCode = %d).", path, EACCES)}});
            }),
            "exit 0");
}

TEST_F(ReadFailures, AFileLargerThanTheMemoryThatIsLeft) {
  if (kSanitized) GTEST_SKIP() << "the sanitizer itself takes up more";
  folder.Write("file.xml", "\xFF\xFE");
  std::filesystem::resize_file(folder.path() / "file.xml", 1u << 30);
  EXPECT_EQ(InChild([this] {
              const rlimit limit = {512u << 20, 512u << 20};
              Require(setrlimit(RLIMIT_AS, &limit) == 0);
              std::int32_t size = 0;
              Require(SBXReadXML(path.c_str(), nullptr, &size) == SBX_E_MEMORY);
              Require(Lines() == Log{{0, u"No enough memory for reading XML."}});
            }),
            "exit 0");
}

TEST_F(ReadXml, ANeedThatPasses31BitsIsRefused) {
  folder.Write("file.xml", "\xFF\xFE");
  std::filesystem::resize_file(folder.path() / "file.xml", 1u << 31);
  std::int32_t size = 77;
  EXPECT_EQ(SBXReadXML(path.c_str(), nullptr, &size), SBX_E_MEMORY);
  EXPECT_EQ(size, 77);
  EXPECT_TRUE(Lines().empty());
}

TEST_F(ReadXml, TheLargestNeedIsStored) {
  const auto memory = static_cast<std::uint64_t>(sysconf(_SC_AVPHYS_PAGES)) * 4096;
  if (memory < (std::uint64_t{4} << 30)) GTEST_SKIP() << "the file's 2 GB would take up this machine";
  const ScratchFolder inMemory("/dev/shm");  // where a file of holes costs nothing
  path = inMemory.Path(u"file.xml");
  inMemory.Write("file.xml", "\xFF\xFE");
  std::filesystem::resize_file(inMemory.path() / "file.xml", (1u << 31) - 1);
  EXPECT_EQ(Need(), 2'147'483'647);
}

TEST_F(WriteXml, AFailedWriteSetsItsText) {
  for (const std::uint32_t encoding : {0u, 1u, 2u, 3u}) {
    SCOPED_TRACE(encoding);
    StoreLastErrorText(u"");
    log.Clear();
    EXPECT_EQ(SBXWriteXML(u"/dev/full", u"a", encoding), SBX_E_FILE);
    EXPECT_EQ(Lines(), (Log{{0, u"Failed to write file /dev/full (ErrCode = 28)."}}));
    EXPECT_EQ(LastError(), u"Failed to write file /dev/full (ErrCode = 28)");
  }
}

TEST_F(WriteXml, AFileSizeLimitLeavesThePartThatFitted) {
  EXPECT_EQ(InChild([this] {
              const rlimit limit = {10, 10};
              Require(setrlimit(RLIMIT_FSIZE, &limit) == 0);
              Require(SBXWriteXML(path.c_str(), u"abcdefgh", 0) == SBX_E_FILE);
              Require(LastError() == Text(u"Failed to write file %s (ErrCode = %d)", path, EFBIG));
            }),
            "exit 0");
  EXPECT_EQ(folder.Read("file.xml"), Utf16(u"abcd"));
}

TEST_F(CreateFailures, AFolderWithoutPermission) {
  chmod(folder.path().c_str(), 0555);
  EXPECT_EQ(InChild([this] {
              if (getuid() == 0) {
                Require(setgid(65534) == 0);
                Require(setuid(65534) == 0);
              }
              Require(SBXWriteXML(path.c_str(), u"a", 0) == SBX_E_FILE);
              Require(Lines() == Log{{0, Text(u"Create file %s failed(ErrCode = %d).", path, EACCES)}});
            }),
            "exit 0");
  chmod(folder.path().c_str(), 0755);
}

// From here on no file can be read, whoever opened it.
void RefuseReading() {
  const auto number = static_cast<unsigned>(offsetof(seccomp_data, nr));
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_read, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(EIO)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(filter), filter};
  Require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0);
  Require(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0);
}

TEST_F(ReadFailures, AFileThatOpensButCannotBeRead) {
  folder.Write("file.xml", "<a/>");
  EXPECT_EQ(InChild([this] {
              RefuseReading();
              std::int32_t size = 100;
              char16_t buffer[50];
              Require(SBXReadXML(path.c_str(), buffer, &size) == SBX_E_FILE);
              Require(Lines() == Log{{0, Text(u"Read file %s failed(ErrCode = %d).", path, EIO)}});
              Require(size == 100 && LastError() == u"(nothing set)");
            }),
            "exit 0");
}

int OpenDescriptors() {
  int count = 0;
  for (int file = 0; file < 256; ++file) count += fcntl(file, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

TEST_F(TextFiles, AreClosedOnEveryPath) {
  const int before = OpenDescriptors();
  std::int32_t size = 0;
  char16_t buffer[50];
  for (const std::uint32_t encoding : {0u, 1u, 2u, 3u, 4u}) {
    SBXWriteXML(path.c_str(), u"<a/>", encoding);
    SBXWriteXML(u"/dev/full", u"<a/>", encoding);
    EXPECT_EQ(OpenDescriptors(), before) << encoding;
    SBXReadXML(path.c_str(), nullptr, &size);  // an empty file for the last one
    size = 100;
    SBXReadXML(path.c_str(), buffer, &size);
    SBXReadXML(path.c_str(), Nowhere<char16_t*>(), &size);
    EXPECT_EQ(OpenDescriptors(), before) << encoding;
  }
  SBXReadXML(folder.path().u16string().c_str(), nullptr, &size);
  SBXWriteXML(folder.path().u16string().c_str(), u"a", 0);
  EXPECT_EQ(OpenDescriptors(), before) << "a directory";
  const int held = open((folder.path() / "file.xml").c_str(), O_RDWR);
  ASSERT_EQ(flock(held, LOCK_EX), 0);
  SBXReadXML(path.c_str(), nullptr, &size);
  SBXWriteXML(path.c_str(), u"a", 0);
  close(held);
  EXPECT_EQ(OpenDescriptors(), before) << "a file that is held";
}

}  // namespace
}  // namespace sbx::testing
