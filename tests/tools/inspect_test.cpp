// core-inspect as a user sees it: arguments in; exit status, output and errors out.

#include "inspect/program.h"
#include "inspect/time_text.h"

#include "support/curve_words.h"
#include "support/file_rows.h"
#include "support/scratch_directory.h"
#include "support/speed_words.h"
#include "tools/well_formed.h"

#include <core/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

using support::ScratchDirectory;
using testing::HasSubstr;

using Words = std::vector<std::string>;

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

Outcome Inspect(const Words& arguments, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    const int status = inspect::Run(arguments, {in, out, err, false});
    return {status, out.str(), err.str()};
}

// What a text of the table says in this folder, and what a verb says without its last line end.
std::string Placed(std::string text, const ScratchDirectory& folder) {
    for (const std::string sign : {"/", ":"}) {
        const std::string there = sign == "/" ? folder.Path("") : folder.Path() + sign;
        for (std::size_t at = 0; (at = text.find("@" + sign, at)) != std::string::npos;) {
            text.replace(at, 2, there);
            at += there.size();
        }
    }
    return text == "@" ? folder.Path() : text;
}
std::string WithoutLineEnd(std::string text) {
    if (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

TEST(Inspect, AnswersAsItsTableSays) {
    for (const support::FileRow& row : support::RowsOf("inspect.txt")) {
        SCOPED_TRACE(row.name);
        const ScratchDirectory folder;
        for (const auto& [heading, text] : row.texts) {
            if (heading.rfind("file ", 0) == 0) {
                folder.Write(heading.substr(5), text);
            }
        }
        Words words;
        std::istringstream line(row[""]);
        for (std::string word; line >> word;) {
            words.push_back(Placed(word, folder));
        }
        const Outcome outcome = Inspect(words, row["in"]);
        EXPECT_EQ(outcome.status, std::atoi(row["status"].c_str()));
        EXPECT_EQ(WithoutLineEnd(outcome.out), Placed(row["out"], folder));
        const std::string error = WithoutLineEnd(outcome.err);
        EXPECT_EQ(error.substr(0, Placed(row["err"], folder).size()), Placed(row["err"], folder));
        EXPECT_EQ(error.empty(), row["err"].empty()) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
}

// What a verb says about a document that is given as standard input.
std::string Checked(const std::string& document, int status) {
    const Outcome outcome = Inspect({"check", "-"}, document);
    EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
    return status == 2 ? outcome.err : outcome.out;
}

core::Parameter Fade() {
    core::Parameter fade;
    fade.AddPoint(0.0, 0.0, KeyframeInterpolationType::EaseInOutCubic);
    fade.AddPoint(1.0, 1.0, KeyframeInterpolationType::Hold);
    fade.AddPoint(2.0, 1.0, KeyframeInterpolationType::Bezier);
    fade.AddPoint(3.0, 0.0, KeyframeInterpolationType::Linear);
    return fade;
}

std::string Keyframes(const std::string& keyframes, const std::string& settings = "") {
    return "{\"ParameterType\": 0, " + settings + "\"keyframeSets\": [" + keyframes + "]}";
}

TEST(InspectPlaces, AreCurvesInAFileByJsonPointer) {
    const ScratchDirectory folder;
    const std::string fade = Fade().Serialize();
    core::JsonTree project;
    core::SetByPointer(*project, "/clips/0/a~1b#c", fade);
    ASSERT_GT(core::MakeByPointer(*project, "/clips/1/speed")->Parse(fade.c_str()), 0);
    core::SetByPointer(*project, "/clips/1/name", "{x");
    std::string text;
    ASSERT_TRUE(core::WriteJson(*project, text));
    const std::string file = folder.Write("pro#ject.json", text);
    const std::string asText = file + "#/clips/0/a~1b#c";
    const std::string asObject = file + "#/clips/1/speed";
    const std::string alone = folder.Write("fade.json", fade);

    EXPECT_EQ(Inspect({"diff", asText, asObject}).status, 0);
    EXPECT_EQ(Inspect({"diff", alone, asObject}).out, "");
    for (const Words& verb :
         {Words{"sample", "--format", "csv"}, Words{"plot", "--title", "x"}, Words{"convert"}}) {
        const auto outputOf = [&](const std::string& argument, const std::string& input) {
            Words words = verb;
            words.push_back(argument);
            if (verb.front() == "convert") {
                words.emplace_back("-");
            }
            return Inspect(words, input).out;
        };
        const std::string whole = outputOf(alone, "");
        EXPECT_NE(whole, "");
        EXPECT_EQ(outputOf(asText, ""), whole);
        EXPECT_EQ(outputOf("-#/clips/1/speed", text), whole);
    }
    EXPECT_THAT(Inspect({"plot", asObject}).out, HasSubstr("pro#ject#/clips/1/speed"));
    EXPECT_THAT(Inspect({"page", asText, asObject}).out,
                HasSubstr("<title>pro#ject.json#/clips/0/a~1b#c and 1 other</title>"));
    // A file of that name comes first, and digits are not lost on the way.
    folder.Write("fade.json#", "{}");
    EXPECT_THAT(Inspect({"sample", alone + "#"}).err, HasSubstr("neither a parameter"));
    EXPECT_THAT(Inspect({"sample", "-#/0", "--format", "csv"},
                        '[' + Keyframes(R"({"_time": 0.040000000001, "_value": 1e-12})") + ']')
                    .out,
                HasSubstr("1,0.04,1e-12"));
}

TEST(InspectCheck, TakesFoldersAndTellsMachines) {
    const ScratchDirectory folder;
    folder.Write("b.json", Fade().Serialize());
    folder.Write("a.kf", "fps: 30\n0 0 1\n1 2 1\n");
    folder.Write("c.json", "{");
    folder.Write("clip.mov", "{");
    // Files of a folder are told with "/" on every platform.
    std::string path = folder.Path();
    std::replace(path.begin(), path.end(), '\\', '/');
    const Outcome lines = Inspect({"check", path});
    EXPECT_EQ(lines.status, 2);
    EXPECT_EQ(lines.out,
              path + "/a.kf: table, parameter of type double, 2 keyframes from 0 s to 1 s\n" +
                  path +
                  "/b.json: parameter of type double, 4 keyframes from 0 s to 3 s, "
                  "digest right\n3 documents: 2 fine, 0 suspicious, 1 unreadable\n");
    const Outcome machine = Inspect({"check", "--json", path});
    core::JsonDoc document;
    ASSERT_GE(document.Parse(machine.out.c_str()), 0) << machine.out;
    const core::JsonArray& files = document.Root().AsArray();
    ASSERT_EQ(files.Count(), 3);
    EXPECT_STREQ(files[1].AsObject().Find("status")->AsString(), "fine");
    EXPECT_THAT(files[2].AsObject().Find("error")->AsString(), HasSubstr("line 1, column 2"));
    // A table's own rate counts.
    EXPECT_THAT(Inspect({"sample", path + "/a.kf", "--format", "csv"}).out,
                HasSubstr("\n30,1,2\n"));
}

TEST(InspectErrors, OutputThatIsNotTakenEndsWith2) {
    // Takes so many bytes and no more, as a full disk does.
    class Full : public std::streambuf {
    public:
        explicit Full(int bytes) : left(bytes) {}

    private:
        int_type overflow(int_type c) override { return left-- > 0 ? c : traits_type::eof(); }
        int left;
    };
    const ScratchDirectory folder;
    const std::string good = folder.Write("good.json", Fade().Serialize());
    const std::string other = folder.Write("other.json", core::Parameter(1.0).Serialize());
    for (const Words& arguments :
         {Words{"check", good}, Words{"sample", good}, Words{"sample", good, "--to", "1e13"},
          Words{"plot", good}, Words{"diff", good, other}, Words{"convert", good, "-"},
          Words{"--help"}}) {
        for (const int room : {0, 10}) {
            std::istringstream in;
            std::ostringstream err;
            Full buffer(room);
            std::ostream out(&buffer);
            EXPECT_EQ(inspect::Run(arguments, {in, out, err, false}), 2) << arguments.front();
            EXPECT_EQ(err.str(), "core-inspect: standard output: cannot be written\n");
        }
    }
}

TEST(InspectSample, WritesWhatTheCurveAnswersInEveryFormat) {
    core::Parameter fade = Fade();
    fade.SetValueRange(0.0, 0.9);
    fade.Desialize(fade.Serialize().c_str());  // with handles of the file's eight decimals
    const Outcome csv =
        Inspect({"sample", "-", "--format", "csv", "--fps", "10"}, fade.Serialize());
    std::istringstream lines(csv.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "frame,time,value");
    for (int frame = 0; frame <= 30; ++frame) {
        double number, time, value;
        char comma;
        ASSERT_TRUE(lines >> number >> comma >> time >> comma >> value);
        EXPECT_EQ(number, frame);
        EXPECT_EQ(time, frame / 10.0);
        EXPECT_EQ(value, fade.GetValue(frame / 10.0, true).AsDouble()) << "to the last bit";
    }
    EXPECT_FALSE(lines >> line);
}

// Landmarks of the drop-frame count, and that each frame's timecode leads back to it.
TEST(InspectTimecode, NamesEachFrame) {
    const double ntsc = 30000.0 / 1001.0;
    EXPECT_EQ(inspect::Timecode(1799, ntsc), "00:00:59;29");
    EXPECT_EQ(inspect::Timecode(1800, ntsc), "00:01:00;02");
    EXPECT_EQ(inspect::Timecode(17982, ntsc), "00:10:00;00");
    EXPECT_EQ(inspect::Timecode(2 * 107892, 2.0 * ntsc), "01:00:00;00");
    EXPECT_EQ(inspect::Timecode(86400, 24000.0 / 1001.0), "01:00:00:00");
    for (const double fps : {ntsc, 2.0 * ntsc, 29.97, 25.0, 24000.0 / 1001.0, 12.5}) {
        for (std::int64_t frame = -70'000; frame < 70'000; frame += 7) {
            ASSERT_EQ(inspect::ParseTime(inspect::Timecode(frame, fps), fps),
                      static_cast<double>(frame) / fps)
                << inspect::Timecode(frame, fps);
        }
    }
    EXPECT_EQ(inspect::ParseTime("-1:02:03.5", 25.0), -3723.5);
    for (const char* const wrong : {"", ":", "1:", "1:60", "1:2:3:25", "1;2", "00:01:00;00", "1:-2",
                                    "00:00:00:0x", "1:2:3:4:5", "1.5:00", "nan"}) {
        EXPECT_EQ(inspect::ParseTime(wrong, wrong[0] == '0' ? ntsc : 25.0), std::nullopt) << wrong;
    }
}

TEST(InspectConvert, ReplacesTheFileOnlyWhenAllIsWritten) {
    const ScratchDirectory folder;
    const std::string file = folder.Write("b", "[1.5,{\"x\": null}]");
    EXPECT_EQ(Inspect({"convert", file, file}).err, "");
    EXPECT_EQ(folder.Read("b"), "[\n  1.5,\n  {\n    \"x\": null\n  }\n]\n");
    const std::string digits = "[0.123456789,0.1,5e-324]\n";
    EXPECT_EQ(Inspect({"convert", "-", "-", "--to", "compact"}, digits).out, digits);
    const Outcome cut = Inspect({"convert", "-", "-", "--to", "compact"},
                                R"([18446744073709551616, -1e3, "a\u0000b", "\\u0000", 0.5])");
    EXPECT_THAT(cut.err, HasSubstr("standard input: 1 number cut to what 64 bits hold"));
    EXPECT_THAT(cut.err, HasSubstr("standard input: 1 text cut at a zero byte"));
    const std::string foreign = Inspect({"convert", "-", "-"}, {"\x93\xA1\0\xFF\xD0\x9C", 6}).err;
    EXPECT_THAT(foreign, HasSubstr("standard input: 1 text cut at a zero byte"));
    EXPECT_THAT(foreign, HasSubstr("standard input: 2 numbers from -128 to -1 read as 256 more"));
    // Neither a failed reading nor a failed writing touches what is there.
    folder.Write("b", "{");
    EXPECT_EQ(Inspect({"convert", file, file}).status, 2);
    EXPECT_EQ(folder.Read("b"), "{");
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator(support::PathOf(folder.Path()))) {
        ++files;
    }
    EXPECT_EQ(files, 1U) << "something temporary is left";
}

TEST(InspectVerbs, TakeEveryCurveOfTheGallery) {
    const ScratchDirectory folder;
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        const std::string text = gallery::Build(exhibit).Serialize();
        const Outcome checked = Inspect({"check", "-"}, text);
        EXPECT_LE(checked.status, 1);
        EXPECT_THAT(checked.out, HasSubstr("digest right"));
        const Outcome plot = Inspect({"plot", "-"}, text);
        if (plot.status == 0) {
            EXPECT_TRUE(LooksWellFormed(plot.out));
        } else {
            EXPECT_THAT(plot.err, HasSubstr("too large to be drawn"));
        }
        const Outcome page = Inspect({"page", "-"}, text);
        EXPECT_EQ(page.status, 0) << page.err;
        EXPECT_EQ(page.out.find("NaN,"), std::string::npos);
        const std::string json = folder.Write("a.json", text);
        const std::string packed = folder.Path("a.packed");
        EXPECT_EQ(Inspect({"convert", json, packed, "--to", "packed"}).status, 0);
        EXPECT_EQ(Inspect({"diff", json, packed}).out, "");
        EXPECT_EQ(Inspect({"convert", packed, "-", "--to", "compact"}).out,
                  Inspect({"convert", json, "-", "--to", "compact"}).out);
    }
}

TEST(InspectPlot, DrawsFreezesAndAnyTitle) {
    const ScratchDirectory folder;
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(3.0, 2.0);
    const std::string file = folder.Write("a & b.json", speed->Serialize());
    EXPECT_EQ(Inspect({"plot", file, "-o", folder.Path("clip.svg")}).out, "");
    const std::string picture = folder.Read("clip.svg");
    EXPECT_TRUE(LooksWellFormed(picture));
    EXPECT_THAT(picture, HasSubstr(">a &amp; b</text>"));
    EXPECT_THAT(picture, HasSubstr(">freeze</text>"));
    EXPECT_THAT(picture, HasSubstr("prefers-color-scheme:dark"));
}

// What the page shows is held against the library by browser.sh; here, what goes into it.
TEST(InspectPage, TakesAnyText) {
    const std::string text =
        R"({"ParameterType": 3, "keyframeSets": [{"_time": 0, "_value": "</script><!--"}]})";
    const Outcome page = Inspect({"page", "-", "--title", "</title>&"}, text);
    EXPECT_EQ(page.status, 0) << page.err;
    EXPECT_THAT(page.out, HasSubstr("<title>&lt;/title>&amp;</title>"));
    EXPECT_EQ(page.out.find("</script><!--"), std::string::npos);
    EXPECT_THAT(page.out, testing::Not(HasSubstr("http")));  // nothing is fetched
    const std::string trace = R"({"Events": [{"EventName": "frame", "EventProperties":
        {"ms_min": 16.0, "ms_max": 20.0, "ms_avg": 18.0, "ms_cnt": 3}}]})";
    EXPECT_THAT(Inspect({"page", "-"}, trace).out, HasSubstr("[[\"frame\",\"ms\",16,20,18,3]"));
}

TEST(InspectVerbs, TakeLargeFilesAndDeepOnes) {
    std::string numbers = "[0";
    for (int i = 0; i < 2'000'000; ++i) {
        numbers += ",12345678";
    }
    EXPECT_THAT(Checked(numbers + "]", 0), HasSubstr("an array of 2000001 elements"));
    EXPECT_THAT(Checked(numbers, 2), HasSubstr("line 1, column 18000003: the text ends"));

    core::Parameter long_curve;
    for (int i = 0; i < 50'000; ++i) {
        long_curve.AddPoint(i, i % 7, KeyframeInterpolationType::Linear);
    }
    const ScratchDirectory folder;
    const std::string a = folder.Write("a", long_curve.Serialize());
    long_curve.SetPointValue(40'000, 9.0);
    const std::string b = folder.Write("b", long_curve.Serialize());
    EXPECT_EQ(Inspect({"check", a, b}).status, 0);
    EXPECT_THAT(Inspect({"diff", a, b}).out, HasSubstr("keyframe 40000 (40000 s): value 2 -> 9"));

    // A million headers, each of one element, and a number in the innermost array.
    const std::string deep = std::string(1'000'000, '\x91') + '\x05';
    EXPECT_THAT(Checked(deep, 0), HasSubstr("packed, other JSON, an array of 1 element"));
    EXPECT_EQ(Inspect({"convert", "-", "-", "--to", "packed"}, deep).out.size(), 1'000'005U);
}

}  // namespace
