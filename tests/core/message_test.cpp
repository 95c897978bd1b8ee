// Messages reach a terminal: whatever a name or a library's text holds, they print as one
// line that cannot act on the terminal, and a huge name cannot make a huge message.
#include <gtest/gtest.h>

#include <string>

#include "core/error.h"

namespace tessfx {
namespace {

TEST(Messages, ControlCharactersAreEscapedAndTextIsKept) {
  const struct {
    std::string in, out;
  } cases[] = {
      {"plain caf\xc3\xa9 \xe6\x97\xa5", "plain caf\xc3\xa9 \xe6\x97\xa5"},       // UTF-8 text stays
      {"\x1b[2J\x07", "\\x1B[2J\\x07"},                                           // ESC, BEL
      {"a\xc2\x9b" "31m", "a\\u{009B}31m"},                                       // C1 control (CSI) as UTF-8
      {"\x9b\xff", "\\x9B\\xFF"},                                                 // bytes that are not UTF-8
      {"\xc0\xaf", "\\xC0\\xAF"},                                                 // an overlong "/"
      {"txt\xe2\x80\xaegpj.exe", "txt\\u{202E}gpj.exe"},                         // right-to-left override
      {"a\tb\x7f", "a\\x09b\\x7F"},
  };
  for (const auto& c : cases) EXPECT_EQ(EscapeControls(c.in), c.out);
  EXPECT_EQ(EscapeControls("frame\t1\t2", true), "frame\t1\t2");
  EXPECT_EQ(EscapeControls("\xe2\x80"), "\\xE2\\x80");  // cut short at the end
}

TEST(Messages, OneLineFoldsLineBreaksAndCutsLongText) {
  EXPECT_EQ(OneLineMessage("x.png: cannot read (libpng error: IDAT\n  Read error\r\n\nPNG library error)\n"),
            "x.png: cannot read (libpng error: IDAT; Read error; PNG library error)");
  const std::string huge = "unknown effect \"" + std::string(10 << 20, 'x') + "\"";
  const std::string line = OneLineMessage(huge);
  EXPECT_LT(line.size(), kMaxMessageBytes + 40);
  EXPECT_NE(line.find("... (10485777 bytes in all)"), std::string::npos) << line.substr(line.size() - 60);
  // A cut never splits a character.
  const std::string cut = OneLineMessage(std::string(9, 'a') + "\xc3\xa9\xc3\xa9", 10);
  EXPECT_EQ(cut.substr(0, 11), std::string(9, 'a') + "\xc3\xa9");
}

TEST(Messages, QuotedNamesAreBoundedAndEscaped) {
  EXPECT_EQ(QuoteName("Color add"), "\"Color add\"");
  EXPECT_EQ(QuoteName("a\x1b" "b"), "\"a\\x1Bb\"");
  EXPECT_EQ(QuoteName(std::string(100, 'n'), 8), "\"nnnnnnnn...\" (100 bytes)");
}

}  // namespace
}  // namespace tessfx
