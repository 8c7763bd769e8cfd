// Text files in a folder of their own, and the verbs of reading and writing them.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "export_fixture.h"
#include "support/scratch_folder.h"

namespace sbx::testing {

class TextFiles : public ExportTest {
 protected:
  ScratchFolder folder;
  WideString path = folder.Path(u"file.xml");
};

class ReadXml : public TextFiles {
 protected:
  // The need that a call without a buffer stores.
  std::int32_t Need() {
    std::int32_t size = 0;
    EXPECT_EQ(SBXReadXML(path.c_str(), nullptr, &size), SBX_E_BUFFER);
    return size;
  }
  // What a buffer of just the need receives.
  WideString Read() {
    const std::int32_t need = Need();
    std::vector<unsigned char> buffer(static_cast<std::size_t>(need), 0x7F);
    std::int32_t size = need;
    log.Clear();
    EXPECT_EQ(SBXReadXML(path.c_str(), reinterpret_cast<char16_t*>(buffer.data()), &size), SBX_OK);
    EXPECT_EQ(size, need) << "unchanged";
    WideString text(buffer.size() / 2, u'\0');
    std::memcpy(text.data(), buffer.data(), text.size() * 2);
    return WideString(text.c_str());
  }
};

inline std::string Utf16(WideView text, bool swapped = false) {
  std::string bytes(swapped ? "\xFE\xFF" : "\xFF\xFE", 2);
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += swapped ? high : low;
    bytes += swapped ? low : high;
  }
  return bytes;
}

class ReadFailures : public ReadXml {
 protected:
  void Expect(std::int32_t code, const WideString& line) {
    log.Clear();
    std::int32_t size = 100;
    char16_t buffer[50];
    EXPECT_EQ(SBXReadXML(path.c_str(), buffer, &size), code);
    EXPECT_EQ(Lines(), (Log{{0, line}}));
    EXPECT_EQ(size, 100);
    EXPECT_EQ(LastError(), u"(nothing set)");
  }
};

class WriteXml : public TextFiles {
 protected:
  std::string Write(const char16_t* text, std::uint32_t encoding) {
    EXPECT_EQ(SBXWriteXML(path.c_str(), text, encoding), SBX_OK);
    return folder.Read("file.xml");
  }
};

class CreateFailures : public WriteXml {
 protected:
  void Expect(int error) {
    log.Clear();
    EXPECT_EQ(SBXWriteXML(path.c_str(), u"a", 0), SBX_E_FILE);
    EXPECT_EQ(Lines(), (Log{{0, Text(u"Create file %s failed(ErrCode = %d).", path, error)}}));
    EXPECT_EQ(LastError(), u"(nothing set)");
  }
};

}  // namespace sbx::testing
