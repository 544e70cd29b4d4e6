#include "support/keyframe_table.h"

#include "support/frame_table.h"
#include "support/number_text.h"
#include "support/parameter_document.h"
#include "support/pictures.h"

#include "examples/well_formed.h"
#include "support/scratch_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
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
    "title: Fade <in> & \"out\" # \xC3\xA9\n"
    "value: opacity\n"
    "type:  double\n"
    "ratio: 2\n"
    "range: 0 2.5\n"
    "fps:   12.5  # few\n"
    "2.0  1     0            -   -    0.4  -0.5\n"
    "0    0     EaseInBack\n"
    "1    1.5   Hold         0.6 0.25 -    -     # in the middle\n";

TEST(KeyframeTable, HoldsWhatTheFileSaysInTimeOrder) {
    std::string windows = "\xEF\xBB\xBF";
    for (const char c : kFade) {
        windows += c == '\n' ? std::string("\r\n") : std::string(1, c);
    }
    for (const std::string& text : {kFade, windows}) {
        const KeyframeTable table = Read(text);
        EXPECT_EQ(table.title, "Fade <in> & \"out\" # \xC3\xA9");
        EXPECT_EQ(table.valueLabel, "opacity");
        EXPECT_EQ(example::FrameSpan(table), std::make_pair(0, 25));
        core::Parameter parameter = example::MakeParameter(table);
        EXPECT_EQ(parameter.GetInterpolationType(0), Interpolation::EaseInBack);
        EXPECT_EQ(parameter.GetInterpolationType(2), Interpolation::Bezier);
        EXPECT_EQ(parameter.GetValue(1.0, false).AsDouble(), 3.0) << "the ratio applies";
        EXPECT_EQ(parameter.GetValue(1.0, true).AsDouble(), 2.5) << "the range applies";
        double x = 0.0;
        double y = 0.0;
        parameter.GetPointControlLeftParam(1, x, y);
        EXPECT_EQ(std::make_pair(x, y), std::make_pair(0.6, 0.25));
        parameter.GetPointControlRightParam(2, x, y);
        EXPECT_EQ(std::make_pair(x, y), std::make_pair(0.4, -0.5));
    }
    // The library sets a handle that the file leaves out: a straight path.
    core::Parameter path = example::MakeParameter(Read("type: point\n0 1 1 0\n1 4 7 0\n"));
    EXPECT_NEAR(path.GetValue(0.5, false).AsPoint().x, 2.5, 1e-12);
}

TEST(KeyframeTable, NamesTheLineAndTheReasonOfABrokenFile) {
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        // Files that are no tables.
        {"# nothing\n\ntitle: x\n", "table.kf:3: the file ends without a keyframe"},
        {std::string("0 0 1\n\0\1\2", 9), "table.kf:2: not a line of UTF-8 text"},
        {"0 0 1\n\xC3\x28\n", "table.kf:2: not a line of UTF-8 text"},
        {"title: \xED\xA0\x80\n", "table.kf:1: not a line of UTF-8 text"},
        // Columns, numbers and names.
        {"type: point\n0 0 1\n", "table.kf:2: a keyframe has 4 columns (time, x, y"},
        {"0 0 1 0 0 0 0 0\n", "table.kf:1: a keyframe has 3 columns"},
        {"0 0x10 1\n", "table.kf:1: value '0x10' is not a number"},
        {"0 0 1\n\n1 inf 1\n", "table.kf:3: value 'inf' is not finite"},
        {"0 1e999 1\n", "table.kf:1: value '1e999' is out of range"},
        {"0 1e13 1\n", "table.kf:1: value '1e13' is larger than 1e12"},
        {"166667 0 1\n", "table.kf:1: time '166667' is beyond 166666 seconds"},
        {"0 0 7 - 1 0 0\n", "table.kf:1: left handle '-' is not a number"},
        {"type: int\n0 3e9 1\n", "table.kf:2: value '3e9' is not a whole number of 32 bits"},
        {"type: bool\n0 1 1\n", "table.kf:2: value '1' is neither true nor false"},
        {"0 0 27\n", "table.kf:1: unknown interpolation '27'"},
        // Times.
        {"1 0 1\n0 0 1\n1.00000005 2 1\n", "table.kf:3: the keyframe in line 1 has the same time"},
        {"0 0 1\n4000 0 1\n", "table.kf:2: the keyframes span more than 90000 frames"},
        // Settings.
        {"colour: red\n0 0 1\n", "table.kf:1: unknown setting 'colour'"},
        {"fps: 25\nfps: 30\n", "table.kf:2: 'fps' is given twice, first in line 1"},
        {"fps: 0\n", "table.kf:1: fps '0' is not between"},
        {"range: 1 0\n", "table.kf:1: range is upside down"},
        {"0 0 1\ntype: int\n", "table.kf:2: 'type' must stand before the first keyframe"},
        {"type: point\nratio: 2\n0 0 0 1\n", "table.kf:3: ratio and range are for"},
    };
    for (const auto& [text, error] : cases) {
        EXPECT_THAT(ErrorOf(text), StartsWith(error)) << text;
    }
}

// What can be read can be shown, whatever it is; the rest is refused.
TEST(KeyframeTable, AnyDamagedFileIsShownOrRefused) {
    std::mt19937 random(20250117);
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
            const std::size_t replaced = pick(3);  // 0 inserts
            text.replace(at, replaced, pick(2), alphabet[pick(alphabet.size())]);
        }
        SCOPED_TRACE("round " + std::to_string(round) + ":\n" + text);
        KeyframeTable table;
        try {
            table = Read(text);
        } catch (const example::TableError&) {
            continue;
        }
        ++shown;
        EXPECT_TRUE(LooksWellFormed(example::DrawAnimation(table)));
        const auto [first, last] = example::FrameSpan(table);
        EXPECT_THAT(example::FrameTable(table, 1 + (last - first) / 100), HasSubstr(" |"));
    }
    EXPECT_GT(shown, rounds / 5);
    EXPECT_LT(shown, rounds * 4 / 5);
}

TEST(ParameterDocument, ShowsWhatTheTableShows) {
    const support::ScratchDirectory scratch;
    for (const std::string& text :
         {kFade, std::string("type: point\n0 0 0 1\n0.5 3 4 6 1 1 2 2\n1 1e12 -1e12 0\n"),
          std::string("type: int\nratio: 12\nrange: -5 60\n0 -7 26\n0.1 3 12 -4 0 9 0\n0.2 5 13\n"),
          std::string("type: bool\n0 true 1\n1 false 3\n")}) {
        KeyframeTable table = Read(text);
        const auto file = support::PathOf(scratch.Path("saved.json"));
        example::SaveParameterDocument(table, file);
        const KeyframeTable saved = example::LoadParameterDocument(file);
        // What documents do not hold.
        table.title = "saved";
        table.valueLabel = saved.valueLabel;
        table.fps = saved.fps;
        EXPECT_EQ(example::FrameTable(table, 1), example::FrameTable(saved, 1));
        EXPECT_EQ(example::MakeParameter(table).Serialize(),
                  example::MakeParameter(saved).Serialize());
    }
}

TEST(ParameterDocument, WhatCannotBeShownIsRefused) {
    const support::ScratchDirectory scratch;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "not the document of a parameter"},
        {"{\"keyframeSets\": []}", "holds no keyframe"},
        {R"({"keyframeSets": [{"_time": 0, "_value": "a"}], "ParameterType": 3})",
         "texts cannot be drawn"},
        {R"({"keyframeSets": [{"_time": 0, "_value": 2e12}]})", "too large"},
        {R"({"keyframeSets": [{"_time": 1e6, "_value": 2}]})", "too large"},
        {R"({"keyframeSets": [{"_time": 0, "_value": 2}, {"_time": 4000, "_value": 2}]})",
         "too large"},
    };
    for (const auto& [text, error] : cases) {
        try {
            example::LoadParameterDocument(support::PathOf(scratch.Write("broken.json", text)));
            ADD_FAILURE() << text;
        } catch (const example::TableError& caught) {
            EXPECT_THAT(caught.what(), HasSubstr(error));
        }
    }
}

}  // namespace
