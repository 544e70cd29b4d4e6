#include "support/keyframe_table.h"

#include "support/frame_table.h"
#include "support/number_text.h"
#include "support/pictures.h"

#include "examples/well_formed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using example::KeyframeTable;
using Interpolation = core::KeyframeInterpolationType;
using testing::HasSubstr;
using testing::StartsWith;

KeyframeTable Read(const std::string& text) {
    std::istringstream in(text);
    return example::ReadKeyframeTable(in, "table.kf");
}

std::string ErrorOf(const std::string& text) {
    try {
        Read(text);
    } catch (const example::TableError& error) {
        return error.what();
    }
    return "no error";
}

const std::string kFade =
    "title: Fade <in> & \"out\" \xC3\xA9\n"
    "value: opacity\n"
    "type:  double\n"
    "ratio: 2\n"
    "range: 0 2.5\n"
    "fps:   12.5  # few\n"
    "2.0  1     0            -   -    0.4  -0.5\n"
    "0    0     EaseInBack\n"
    "1    1.25  Hold         0.6 0.25 -    -     # in the middle\n";

TEST(KeyframeTable, HoldsWhatTheFileSaysInTimeOrder) {
    std::string windows = "\xEF\xBB\xBF";
    for (const char c : kFade) {
        windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    for (const std::string& text : {kFade, windows}) {
        const KeyframeTable table = Read(text);
        EXPECT_EQ(table.title, "Fade <in> & \"out\" \xC3\xA9");
        EXPECT_EQ(table.valueLabel, "opacity");
        EXPECT_EQ(table.baseRatio, 2.0);
        EXPECT_EQ(table.range, std::make_pair(0.0, 2.5));
        EXPECT_EQ(table.fps, 12.5);
        EXPECT_EQ(example::FrameSpan(table), std::make_pair(0, 25));

        core::Parameter parameter = example::MakeParameter(table);
        ASSERT_EQ(parameter.GetKeyFramesCount(), 3);
        EXPECT_EQ(parameter.GetPointValue(1).AsDouble(), 1.25);
        EXPECT_EQ(parameter.GetInterpolationType(0), Interpolation::EaseInBack);
        EXPECT_EQ(parameter.GetInterpolationType(2), Interpolation::Bezier);
        EXPECT_EQ(parameter.GetValue(1.0, true).AsDouble(), 2.5) << "ratio and range apply";
        double x = 0.0;
        double y = 0.0;
        EXPECT_TRUE(parameter.GetPointControlLeftParam(1, x, y));
        EXPECT_EQ(x, 0.6);
        EXPECT_EQ(y, 0.25);
        EXPECT_TRUE(parameter.GetPointControlRightParam(2, x, y));
        EXPECT_EQ(x, 0.4);
        EXPECT_EQ(y, -0.5);
    }
}

TEST(KeyframeTable, LeavesUnstatedHandlesToTheLibrary) {
    core::Parameter plain = example::MakeParameter(Read("0 0 7\n1 3 7\n2 1 7\n"));
    core::Parameter mixed = example::MakeParameter(Read("0 0 7\n1 3 7 - - 5 0\n2 1 7\n"));
    for (int i = 0; i < 3; ++i) {
        double plainLeft = 0.0;
        double plainRight = 0.0;
        double left = 0.0;
        double right = 0.0;
        plain.GetPointControlParam(i, plainLeft, plainRight);
        mixed.GetPointControlParam(i, left, right);
        EXPECT_EQ(left, plainLeft) << i;
        EXPECT_EQ(right, i == 1 ? 5.0 : plainRight) << i;
    }
    // A straight path of points takes no detour.
    core::Parameter path = example::MakeParameter(Read("type: point\n0 1 1 0\n1 4 7 0\n"));
    EXPECT_NEAR(path.GetValue(0.5, false).AsPoint().x, 2.5, 1e-12);
    EXPECT_NEAR(path.GetValue(0.5, false).AsPoint().y, 4.0, 1e-12);
}

TEST(KeyframeTable, NamesTheLineAndTheReasonOfABrokenFile) {
    struct Case {
        std::string text;
        std::string error;
    };
    const Case cases[] = {
        // Files that are no tables.
        {"", "table.kf:1: the file ends without a keyframe"},
        {"# nothing\n\ntitle: x\n", "table.kf:3: the file ends without a keyframe"},
        {std::string("0 0 1\n\0\1\2", 9), "table.kf:2: not a line of UTF-8 text"},
        {"\x7F"
         "ELF\n",
         "table.kf:1: not a line of UTF-8 text"},
        {"0 0 1\n\xC3\x28\n", "table.kf:2: not a line of UTF-8 text"},
        {"title: \xED\xA0\x80\n", "table.kf:1: not a line of UTF-8 text"},
        {"\xFF\xFE"
         "0\n",
         "table.kf:1: not a line of UTF-8 text"},
        // Columns.
        {"0 0 1\n1 1\n", "table.kf:2: a keyframe has 3 columns"},
        {"0 0 1 0 0 0\n", "table.kf:1: a keyframe has 3 columns"},
        {"type: point\n0 0 1\n", "table.kf:2: a keyframe has 4 columns (time, x, y"},
        {"0 0 1 0 0 0 0 0\n", "here are 8"},
        // Numbers.
        {"0 zero 1\n", "table.kf:1: value 'zero' is not a number"},
        {"0 0x10 1\n", "value '0x10' is not a number"},
        {"0 1,5 1\n", "value '1,5' is not a number"},
        {"0 0 1\n\n1 inf 1\n", "table.kf:3: value 'inf' is not finite"},
        {"nan 0 1\n", "time 'nan' is not finite"},
        {"0 1e999 1\n", "value '1e999' is out of range"},
        {"0 1e13 1\n", "value '1e13' is larger than 1e12"},
        {"166667 0 1\n", "time '166667' is beyond 166666 seconds"},
        {"0 0 7 - 1 0 0\n", "left handle '-' is not a number"},
        {"type: int\n0 1.5 1\n", "value '1.5' is not a whole number"},
        {"type: int\n0 3e9 1\n", "value '3e9' is not a whole number of 32 bits"},
        {"type: bool\n0 1 1\n", "value '1' is neither true nor false"},
        // Interpolations.
        {"0 0 Sideways\n", "table.kf:1: unknown interpolation 'Sideways'"},
        {"0 0 27\n", "unknown interpolation '27'"},
        {"0 0 -1\n", "unknown interpolation '-1'"},
        {"0 0 1.5\n", "unknown interpolation '1.5'"},
        // Times.
        {"1 0 1\n0 0 1\n1.00000005 2 1\n", "table.kf:3: the keyframe in line 1 has the same time"},
        {"2 0 1\n2 0 1\n", "table.kf:2: the keyframe in line 1 has the same time, 2"},
        {"0 0 1\n100000 0 1\n", "table.kf:2: the keyframes span more than 90000 frames"},
        // Settings.
        {"colour: red\n0 0 1\n", "table.kf:1: unknown setting 'colour'"},
        {"type: float\n", "unknown parameter type 'float'"},
        {"fps: 25\nfps: 30\n", "table.kf:2: 'fps' is given twice, first in line 1"},
        {"fps: 0\n", "fps '0' is not between"},
        {"fps:\n", "fps '' is not a number"},
        {"range: 1\n", "range needs two numbers"},
        {"range: 1 0\n", "range is upside down"},
        {"0 0 1\ntype: int\n", "table.kf:2: 'type' must stand before the first keyframe"},
        {"type: point\nratio: 2\n0 0 0 1\n", "ratio and range are for"},
        {"ratio: 0.5\ntype: int\n0 0 1\n", "ratio and range of type int are whole"},
    };
    for (const Case& c : cases) {
        EXPECT_THAT(ErrorOf(c.text), StartsWith("table.kf:")) << c.text;
        EXPECT_THAT(ErrorOf(c.text), HasSubstr(c.error)) << c.text;
    }
    std::string many;
    for (int i = 0; i <= example::kMaxKeyframes; ++i) {
        many += std::to_string(i) + "e-3 0 1\n";
    }
    EXPECT_THAT(ErrorOf(many), HasSubstr("table.kf:10001: more than 10000 keyframes"));
}

// What can be read can be shown, whatever it is; the rest is refused.
TEST(KeyframeTable, AnyDamagedFileIsShownOrRefused) {
    const unsigned seed = 20250117;
    std::mt19937 random(seed);
    const std::vector<std::string> originals = {
        kFade,
        "type: point\n0 0 0 1\n0.5 3 4 6 1 1 2 2\n1 1e12 -1e12 0\n",
        "type: int\nratio: 12\n0 -2147483647 26\n0.1 3 12 -4 0 1e9 0\n0.2 5 13\n",
        "type: bool\n0 true 1\n1 false 3\n",
    };
    const std::string alphabet = "0123456789.-+eE \t\n:#truefalsepointifnan\xC3\xA9";
    int shown = 0;
    const int rounds = 1200;
    for (int round = 0; round < rounds; ++round) {
        const auto pick = [&random](std::size_t count) { return random() % count; };
        std::string text = originals[pick(originals.size())];
        for (std::size_t edits = pick(4); edits > 0 && !text.empty(); --edits) {
            const std::size_t at = pick(text.size());
            switch (pick(3)) {
                case 0:
                    text[at] = alphabet[pick(alphabet.size())];
                    break;
                case 1:
                    text.erase(at, 1 + pick(4));
                    break;
                default:
                    text.insert(at, 1, alphabet[pick(alphabet.size())]);
            }
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round) + ":\n" +
                     text);
        KeyframeTable table;
        try {
            table = Read(text);
        } catch (const example::TableError&) {
            continue;
        }
        ++shown;
        EXPECT_EQ(WhyNotWellFormed(example::DrawAnimation(table)), "");
        const auto [first, last] = example::FrameSpan(table);
        EXPECT_THAT(example::FrameTable(table, 1 + (last - first) / 100), HasSubstr(" |"));
    }
    EXPECT_GT(shown, rounds / 5);
    EXPECT_LT(shown, rounds * 4 / 5);
}

// Writes "1.234,5" for 1234.5, as many countries do.
class CommaNumbers : public std::numpunct<char> {
protected:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(KeyframeTable, ReadsAndShowsTheSameInEveryLocale) {
    const auto show = [] {
        const KeyframeTable table = Read(kFade + "1234.5 2 Hold\n");
        return example::FrameTable(table, 100) + example::DrawAnimation(table) +
               ErrorOf("0 0 1\n1234567 0 1\n") + example::ShortText(1234567.25, 3);
    };
    const std::string usual = show();
    const std::locale before = std::locale::global(std::locale(std::locale(), new CommaNumbers));
    const std::string elsewhere = show();
    std::locale::global(before);
    EXPECT_EQ(elsewhere, usual);
}

}  // namespace
