#include <gtest/gtest.h>

#include <string>

#include "core/text_encoding.h"
#include "core/textfile.h"

namespace vm {
namespace {

// Valid UTF-8 passes untouched; anything else, including the malformed sequences a hostile file
// may hold, is taken as Latin-1, so the result is always valid UTF-8.
TEST(TextEncoding, KeepsUtf8AndReadsEverythingElseAsLatin1) {
  const struct {
    const char* What;
    std::string In;
    bool Valid;
    std::string Out;
  } cases[] = {
      {"ascii", "Alex Moreau", true, "Alex Moreau"},
      {"utf-8, two to four bytes", "Ren\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8f\x81", true, "Ren\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8f\x81"},
      {"latin-1", "Ren\xe9 Dubois", false, "Ren\xc3\xa9 Dubois"},
      {"latin-1 top byte", "\xff", false, "\xc3\xbf"},
      {"stray continuation", "a\x80", false, "a\xc2\x80"},
      {"overlong slash", "\xc0\xaf", false, "\xc3\x80\xc2\xaf"},
      {"overlong three bytes", "\xe0\x80\xaf", false, "\xc3\xa0\xc2\x80\xc2\xaf"},
      {"surrogate", "\xed\xa0\x80", false, "\xc3\xad\xc2\xa0\xc2\x80"},
      {"above U+10FFFF", "\xf4\x90\x80\x80", false, "\xc3\xb4\xc2\x90\xc2\x80\xc2\x80"},
      {"cut off", "Zo\xc3", false, "Zo\xc3\x83"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(IsValidUtf8(c.In), c.Valid) << c.What;
    EXPECT_EQ(DecodeFileText(c.In), c.Out) << c.What;
    EXPECT_TRUE(IsValidUtf8(DecodeFileText(c.In))) << c.What;
  }
}

// Every string a game file gives goes through the one decoding; other fields are left alone.
TEST(TextEncoding, FileStringsComeOutAsUtf8) {
  TextReader in("\"Zo\xeb\",\"Ren\xc3\xa9\",12\r\n", "cars.crs");
  EXPECT_EQ(in.ReadString("driver"), "Zo\xc3\xab");
  EXPECT_EQ(in.ReadString("driver"), "Ren\xc3\xa9");
  EXPECT_EQ(in.ReadInt16("risk"), 12);
}

}  // namespace
}  // namespace vm
