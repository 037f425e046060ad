// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/common/near_names.h"
#include "tools/common/number_text.h"
#include "tools/common/printable.h"
#include "tools/common/table.h"

namespace qor::tools {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(PrintableTest, NothingThatMovesTheCursorGetsThrough) {
  EXPECT_EQ(Printable("/speed \xC3\xA9 \xE4\xBD\xA0 \xF0\x9F\x9A\x97"),
            "/speed \xC3\xA9 \xE4\xBD\xA0 \xF0\x9F\x9A\x97");
  EXPECT_EQ(Printable("a\033[2J\n\tb\x7F"), "a\\x1b[2J\\x0a\\x09b\\x7f");
  EXPECT_EQ(Printable("\xC2\x9B\x31m"), "\\xc2\\x9b1m") << "the one-character form of ESC [";
  EXPECT_EQ(Printable("\xE2\x80\xAE!"), "\\xe2\\x80\\xae!") << "right-to-left override";
  EXPECT_EQ(Printable("\xC0\x8A\xED\xA0\x80\xFF\xE4\xBD"), "\\xc0\\x8a\\xed\\xa0\\x80\\xff\\xe4\\xbd")
      << "overlong, surrogate, no lead byte, cut short";
}

TEST(PrintableTest, AWideCharacterTakesTwoColumns) {
  const std::string wide = "/\xE4\xBD\xA0\xE5\xA5\xBD";  // two CJK characters
  EXPECT_EQ(DisplayWidth(wide), 5U);
  EXPECT_EQ(DisplayWidth("e\xCC\x81 \xC3\xA9"), 3U) << "an accent of its own takes none";
  EXPECT_EQ(CutToWidth(wide, 4), wide.substr(0, 4)) << "half a character is none";
}

TEST(NearNamesTest, NearestFirstAndAtMostThree) {
  const std::vector<std::string> names{"/vehicle/gear", "/vehicle/spend", "/vehicle/speed", "/vehicle/speeds",
                                       "/vehicle/Speed2"};
  EXPECT_THAT(NearNames("/vehicle/spede", names), ElementsAre("/vehicle/speed", "/vehicle/Speed2", "/vehicle/speeds"))
      << "two letters swapped are one edit";
  EXPECT_THAT(NearNames("gear", names), ElementsAre("/vehicle/gear")) << "a part of a name";
  EXPECT_THAT(NearNames("/VEHICLE/GEAR", names), ElementsAre("/vehicle/gear"));
  EXPECT_THAT(NearNames("/body/door/left", names), IsEmpty());
  EXPECT_EQ(DidYouMean("/vehicle/gera", {"/vehicle/gear"}), " Did you mean '/vehicle/gear'?");
  EXPECT_EQ(DidYouMean("abc", {"abd\033", "abe"}), " Did you mean 'abe' or 'abd\\x1b'?");
  EXPECT_EQ(DidYouMean("abc", {}), "");
}

TEST(TableTest, AlignedOnATerminalAndTabsInAPipe) {
  Table table({"EVENT", "N"});
  table.AddRow({"/\xC3\xA9", "1"});
  table.AddRow({"/long\tname", ""});
  EXPECT_EQ(table.ToText(TableStyle::kTerminal), "EVENT          N\n/\xC3\xA9             1\n/long\\x09name  -\n");
  EXPECT_EQ(table.ToText(TableStyle::kPipe), "/\xC3\xA9\t1\n/long\\x09name\t-\n");
  EXPECT_EQ(table.ToText(TableStyle::kTerminalColor).substr(0, 4), "\033[1m");
}

TEST(NumberTextTest, WhatIsNoNumberIsADash) {
  EXPECT_EQ(FixedText(99.999, 2), "100.00");
  EXPECT_EQ(FixedText(std::numeric_limits<double>::quiet_NaN(), 2), "-");
  EXPECT_EQ(FixedText(std::numeric_limits<double>::infinity(), 2), "-");
  EXPECT_EQ(ByteRateText(999.4), "999 B/s");
  EXPECT_EQ(ByteRateText(12'340.0), "12.3 kB/s");
  EXPECT_EQ(ByteRateText(2.5e13), "25.0 TB/s");
  EXPECT_EQ(HexText(0x2F), "0x002f");
}

}  // namespace
}  // namespace qor::tools
