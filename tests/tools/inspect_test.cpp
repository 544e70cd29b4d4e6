// core-inspect as a user sees it: arguments in; exit status, output and errors out.

#include "inspect/program.h"
#include "inspect/time_text.h"

#include "examples/well_formed.h"
#include "support/curve_words.h"
#include "support/scratch_directory.h"
#include "support/speed_words.h"

#include <core/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
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

std::string With(std::string text, const std::string& old, const std::string& changed) {
    const std::size_t at = text.find(old);
    EXPECT_NE(at, std::string::npos) << old;
    return text.replace(at, old.size(), changed);
}

std::string Keyframes(const std::string& keyframes, const std::string& settings = "") {
    return "{\"ParameterType\": 0, " + settings + "\"keyframeSets\": [" + keyframes + "]}";
}

TEST(InspectCheck, SaysWhatAFileIs) {
    core::Parameter fade = Fade();
    fade.SetValueRange(0.0, 1.0);
    fade.SetBaseRatio(0.5);
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(3.0, 2.0);
    speed->SetReverse(true);
    core::BsonBox box;
    core::JsonDoc document;
    document.Parse(fade.Serialize().c_str());
    JsonToBson(document.Root(), box);
    const struct {
        std::string document;
        const char* line;
    } cases[] = {
        {fade.Serialize(),
         "parameter of type double, 4 keyframes from 0 s to 3 s, range 0 to 1, base ratio 0.5, "
         "digest right"},
        {{box.Data(), box.Data() + box.Size()},
         "packed, parameter of type double, 4 keyframes from 0 s to 3 s, range 0 to 1, base ratio "
         "0.5, digest right"},
        {"\xEF\xBB\xBF" + core::Parameter().Serialize(),
         "parameter of type double, 0 keyframes, digest right"},
        {speed->Serialize(),
         "speed curve of type double, 4 keyframes from 0 s to 10 s, 1 freeze, in reverse, 10 s at "
         "25 frames per second, digest right"},
        {Keyframes("{\"_time\": 2000000, \"_value\": 1}"),
         "parameter of type double, 1 keyframe from 2000000 ticks to 2000000 ticks, no digest"},
        {"{\"a\": 1}", "other JSON, an object of 1 member"},
        {"[1, 2]", "other JSON, an array of 2 elements"},
        {" null\n", "other JSON, null"},
        {"\xA1x", "packed, other JSON, a text"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Checked(c.document, 0), std::string("standard input: ") + c.line + "\n");
    }
}

TEST(InspectCheck, ReportsWhatIsSuspiciousAndEndsWith1) {
    const std::string saved = Fade().Serialize();
    const auto key = [](const char* time, const char* value, const std::string& more = "") {
        return std::string("{\"_time\": ") + time + ", \"_value\": " + value + more + "}";
    };
    const auto speeds = [](const std::string& keyframes, const std::string& more = "") {
        return With(Keyframes(keyframes), "]}", "], \"_totalTime\": 10" + more + "}");
    };
    const struct {
        const char* name;
        std::string document;
        const char* finding;
    } cases[] = {
        {"edited by hand", With(saved, "\"_time\": 1.0", "\"_time\": 1.5"), "the digest is "},
        {"out of order", Keyframes(key("1", "1") + "," + key("0", "1")),
         "keyframe 1 of the file (0 s) stands behind one of a later time, 1 s"},
        {"doubled", Keyframes(key("1", "1") + "," + key("1.00000005", "2")),
         "keyframe 1 of the file (1.00000005 s) has the time of keyframe 0, which it replaces"},
        {"no time", Keyframes("{\"_value\": 1}"),
         "keyframe 0 of the file is left out: it has no \"_time\""},
        {"no value", Keyframes("{\"_time\": 1}"), "it has no \"_value\""},
        {"no object", Keyframes("7"), "it is no object"},
        {"time is a text", Keyframes(key("\"1\"", "1")), "\"_time\" is no finite number"},
        {"value is a text", Keyframes(key("0", "1") + "," + key("1", "\"x\"")),
         "keyframe 1 of the file is left out: \"_value\" is not of the parameter's type"},
        {"handle beyond its segment",
         Keyframes(key("0", "1", ", \"Interpolation\": 0, \"_rightDerivative\": 1.25") + "," +
                   key("1", "1")),
         "keyframe 0 (0 s): the X of the right handle, 1.25, lies outside 0 to 1"},
        {"handle before its segment",
         Keyframes(key("0", "1", ", \"Interpolation\": 7") + "," +
                   key("1", "1", ", \"Interpolation\": 13, \"_leftDerivative\": -0.1")),
         "keyframe 1 (1 s): the X of the left handle, -0.1, lies outside 0 to 1"},
        {"no straight line",
         Keyframes(key("0", "1", ", \"Interpolation\": 1") + "," +
                   key("1", "2", ", \"Interpolation\": 1")),
         "keyframe 0 (0 s): its segment is Linear but no straight line"},
        {"value beyond the range, by the ratio",
         Keyframes(key("0", "1.5"), "\"_minVal\": 0, \"_maxVal\": 2, \"_baseRatio\": 2, "),
         "keyframe 0 (0 s): value 3 lies outside the range 0 to 2"},
        {"unknown type", Keyframes(key("0", "1", ", \"Interpolation\": 27")),
         "interpolation 27 is unknown"},
        {"no speed", speeds(key("0", "1") + "," + key("2", "0.00009") + "," + key("5", "1")),
         "keyframe 1 (2 s): speed 0.00009 turns into a freeze of 3 s"},
        {"negative speed", speeds(key("0", "-1")), "keyframe 0 (0 s): speed -1 is negative"},
        {"speeds of integers", With(speeds(key("0", "2")), "Type\": 0", "Type\": 1"),
         "a speed curve of integers"},
        {"a speed that does not run evenly",
         speeds(key("0", "1", ", \"Interpolation\": 16") + "," + key("10", "3")),
         // 5 s for a mean speed of 2, which the easing does not reach.
         "keyframe 1 (10 s): the picture jumps by 2.49 s, because the speed from 0 s on, of type "
         "EaseInCubic, does not run evenly"},
        {"beyond the source", speeds(key("0", "1") + "," + key("11", "1")),
         "keyframe 1 (11 s): lies beyond the length of the source, 10 s"},
        {"not JSON to others", Keyframes(key("01", "1")),
         "not what the standard of JSON allows: line 1"},
        {"beyond doubles", "[1e999]", "a number beyond all doubles: line 1, column 2"},
        {"not UTF-8", "[\"\xFF\"]", "text that is not UTF-8: line 1, column 3"},
        {"one name twice", R"([{"a": 1, "b": 2, "a": 3}])", "an object with two members \"a\""},
        {"freezes that are none",
         speeds(key("0", "1"), R"(, "_freeze": ["3 2", "4 1", "x", "13 1", "6 0"])"),
         "4 of 5 freezes left out"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_THAT(Checked(c.document, 1), HasSubstr(c.finding));
    }
    // What does no harm: handles that nothing looks at, and a curve that stops at its end.
    Checked(Keyframes(key("0", "1", ", \"Interpolation\": 7, \"_rightDerivative\": 40") + "," +
                      key("1", "1", ", \"Interpolation\": 6, \"_rightDerivative\": 2")),
            0);
    Checked(speeds(key("0", "1", ", \"Interpolation\": 6") + "," + key("10", "0")), 0);
}

TEST(InspectCheck, FindsNoFaultWithTheDigestOfAnySavedCurve) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        core::Parameter curve = gallery::Build(exhibit);
        const Outcome outcome = Inspect({"check", "-"}, curve.Serialize());
        EXPECT_LE(outcome.status, 1);
        EXPECT_THAT(outcome.out, HasSubstr("digest right"));
    }
}

TEST(InspectErrors, NameTheFileInOneLineAndEndWith2) {
    const ScratchDirectory folder;
    const std::string good = folder.Write("good.json", Fade().Serialize());
    const std::string other = folder.Write("other.json", "{}");
    const std::string empty = folder.Write("empty.json", core::Parameter().Serialize());
    const std::string binary = folder.Write("binary",
                                            "\x7F"
                                            "ELF\x02\x01\x01");
    const struct {
        Words arguments;
        std::string error;
    } cases[] = {
        {{"check", folder.Path("none")}, folder.Path("none") + ": no such file"},
        {{"sample", folder.Path()}, folder.Path() + ": is a directory"},
        {{"check", folder.Write("nothing", "")},
         folder.Path("nothing") + ": line 1, column 1: the text ends where a value was expected"},
        {{"check", binary}, binary + ": not a document: neither JSON nor packed data"},
        {{"check", folder.Write("cut", "{\"a\": 1,\n")},
         folder.Path("cut") +
             ": line 2, column 1: the text ends where a member's name in quotes was expected"},
        {{"check", folder.Write("utf16", "\xFF\xFE{")},
         folder.Path("utf16") + ": text in UTF-16, where UTF-8 is wanted"},
        {{"check", folder.Write("packed", "\x92\x01")},
         folder.Path("packed") + ": packed data with a fault in item 2, at byte 2: the data ends"},
        {{"check", folder.Write("key", "\x81\x01\x01")},
         folder.Path("key") +
             ": packed data with a fault in item 1, at byte 1: a member's name that is no text"},
        {{"check", folder.Write("more", "\x90\x90")},
         folder.Path("more") +
             ": packed data with a fault in item 1, at byte 1: more bytes behind the document"},
        {{"check", folder.Write("picture", "\x89PNG\r\n\x1A\n" + std::string(40, '\0'))},
         folder.Path("picture") + ": not a document: as packed data it goes wrong in item 1"},
        {{"check", folder.Write("bad.kf", "0 0 1\n0 x 1\n")},
         folder.Path("bad.kf") + ": line 2: value 'x' is not a number"},
        {{"plot", good, "-o", "a.PNG"}, "a.PNG: pictures are written as SVG"},
        {{"plot", good, "--size", "3x"}, "--size: 3x is no size"},
        {{"plot", good, "--from", "2", "--to", "1"}, "--from: 2 does not lie before --to 1"},
        {{"plto"}, "'plto' is no verb; 'plot' is one"},
        {{"conv"}, "'conv' is no verb; 'convert' is one"},
        {{"frobnicate"}, "'frobnicate' is no verb; --help lists them"},
        {{}, "a verb is wanted"},
        {{"sample", good, "--format", "xml"}, "--format: xml is not table, csv or json"},
        {{"sample", good, "--fps", "0"}, "--fps: 0 is no frame rate"},
        {{"diff", good}, "AFTER is required"},
        {{"check", folder.Write("type", With(Keyframes(""), ": 0", ": 5"))},
         folder.Path("type") + ": a curve that the library does not take"},
        {{"plot", other}, other + ": neither a parameter nor a speed curve"},
        {{"plot", empty}, empty + ": holds no keyframe"},
        {{"sample", empty}, empty + ": holds no keyframe; say --from and --to"},
        {{"sample", good, "--from", "2", "--to", "1"}, good + ": --from 2 lies behind --to 1"},
        {{"sample", good, "--at", "x"}, good + ": --at x: neither seconds nor a timecode"},
        {{"page", good, other}, other + ": neither a parameter nor a speed curve"},
        {{"page", good, empty}, empty + ": holds no keyframe"},
        {{"page", "--diff", good}, "page --diff: two files are wanted, not 1"},
        {{"sample", good, "--to", "1e300"}, good + ": too long to be counted in frames"},
        {{"diff", good, other}, other + ": neither a parameter nor a speed curve"},
        {{"convert", good, folder.Path("no/such")},
         folder.Path("no/such") + ": can't be written: "},
        {{"convert", good, folder.Path()}, folder.Path() + ": is a directory"},
        {{"convert", folder.Write("nan", "\xCB\x7F\xF8\x01\x01\x01\x01\x01\x01"), "-"},
         folder.Path("nan") + ": a number that is not finite"},
        {{"convert", folder.Write("deep", std::string(82, '\x91') + '\x05'), "-"},
         folder.Path("deep") + ": /0/0/0"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = Inspect(c.arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err.rfind("core-inspect: " + c.error, 0), 0U) << outcome.err << c.error;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
    // A file that fails does not hide the others.
    const Outcome outcome = Inspect({"check", binary, good});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.out, HasSubstr("good.json: parameter"));
    EXPECT_EQ(Inspect({"--help"}).status, 0);
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
    const struct {
        std::string place;
        const char* error;
    } faults[] = {
        {"", ": neither a parameter nor a speed curve; one is at #/clips/0/a~1b#c"},
        {"#/clips/2/speed", ": nothing is there; /clips is an array of 2 elements"},
        {"#/clips/1/speed/x", ": nothing is there; /clips/1/speed is an object of "},
        {"#/x", ": nothing is there; the file is an object of 1 member"},
        {"#clips", ": no JSON Pointer"},
        {"#/clips/1/name", ": line 1, column 2: expected "},
        {"#/clips", ": neither a parameter nor a speed curve; one is at #/clips/0/a~1b#c"},
    };
    for (const auto& c : faults) {
        const Outcome outcome = Inspect({"sample", file + c.place});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err.rfind("core-inspect: " + file + c.place + c.error, 0), 0U)
            << outcome.err;
    }
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

TEST(InspectPlot, DrawsOnATerminal) {
    core::Parameter ramp;
    ramp.AddPoint(0.0, 0.0, KeyframeInterpolationType::Linear);
    ramp.AddPoint(2.0, 8.0, KeyframeInterpolationType::Linear);
    EXPECT_EQ(Inspect({"plot", "--terminal", "--size", "27x4", "-"}, ramp.Serialize()).out,
              "standard input: value\n"
              "        8 |            \u28C0\u2864\u2816\u280B\n"
              "          |        \u28C0\u2864\u2816\u280B\u2801\n"
              "          |   \u2880\u28E0\u2834\u281A\u2809\u2801\n"
              "        0 |\u28E0\u2834\u281A\u2809\n"
              "           ^              ^\n"
              "           0 s          2 s\n");
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

    const struct {
        const char* name;
        std::string document;
        Words options;
        const char* out;
    } cases[] = {
        {"a part",
         fade.Serialize(),
         {"--from", "0.98", "--to", "1.02", "--fps", "50"},
         "  frame            time           value\n"
         "     49            0.98             0.9\n"
         "     50               1             0.9\n"
         "     51            1.02             0.9\n"},
        {"texts",
         R"({"ParameterType": 3, "keyframeSets": [{"_time": 0, "_value": "a\"\n"}]})",
         {"--format", "csv"},
         "frame,time,value\n0,0,\"a\"\"\n\"\n"},
        {"points",
         R"({"ParameterType": 4, "keyframeSets": [{"_time": 1, "_value": [1, 2.5]}]})",
         {"--format", "json"},
         "[\n{\"frame\": 25, \"time\": 1, \"x\": 1, \"y\": 2.5}\n]\n"},
        {"booleans",
         R"({"ParameterType": 2, "keyframeSets": [{"_time": 0, "_value": true}]})",
         {"--format", "json"},
         "[\n{\"frame\": 0, \"time\": 0, \"value\": true}\n]\n"},
        {"ticks",
         Keyframes(R"({"_time": 0, "_value": 1, "Interpolation": 1},)"
                   R"({"_time": 10000000, "_value": 2, "Interpolation": 1})"),
         {"--format", "csv", "--fps", "2"},
         "frame,time,value\n0,0,1\n1,0.5,1.5\n2,1,2\n"},
        {"none",
         fade.Serialize(),
         {"--from", "1.01", "--to", "1.02", "--format", "json"},
         "[\n]\n"},
        {"times of one's own",
         fade.Serialize(),
         {"--at", "2", "--at", "0:01", "--at", "00:00:02:00", "--format", "csv"},
         "time,value\n2,0.9\n1,0.9\n2,0.9\n"},
        {"timecode",
         fade.Serialize(),
         {"--fps", "30000/1001", "--from", "1", "--to", "1.02", "--timecode"},
         "  frame        timecode            time           value\n"
         "     30     00:00:01;00           1.001             0.9\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Words arguments = {"sample", "-"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const Outcome outcome = Inspect(arguments, c.document);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, c.out);
    }
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

TEST(InspectSample, ShowsFreezesAndReverse) {
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(3.0, 2.0);
    EXPECT_EQ(Inspect({"sample", "-", "--fps", "0.5", "--format", "csv"}, speed->Serialize()).out,
              "frame,time,source,speed,freeze\n"
              "0,0,0,1,false\n1,2,2,1,false\n2,4,3,0,true\n3,6,4,2,false\n4,8,8,2,false\n");
    speed->SetReverse(true);
    speed->SetSourceFPS(0.5);
    EXPECT_THAT(Inspect({"sample", "-", "--format", "csv"}, speed->Serialize()).out,
                HasSubstr("\n1,2,8,-1,false\n2,4,7,0,true\n"));
}

TEST(InspectDiff, TellsOfKeyframesAndSettings) {
    const ScratchDirectory folder;
    const std::string before = folder.Write("a", Fade().Serialize());
    const auto linear = KeyframeInterpolationType::Linear;
    const struct {
        const char* name;
        void (*edit)(core::Parameter&);
        std::vector<std::string> lines;
    } cases[] = {
        {"nothing", [](core::Parameter&) {}, {}},
        {"value",
         [](core::Parameter& p) { p.SetPointValue(1, 0.5); },
         {"keyframe 1 (1 s): value 1 -> 0.5"}},
        {"type",
         [](core::Parameter& p) { p.SetPointInterpolationType(0, linear); },
         {"keyframe 0 (0 s): interpolation EaseInOutCubic -> Linear"}},
        {"handle",
         [](core::Parameter& p) { p.SetPointControlRightParam(2, 0.25, -1.0); },
         {"keyframe 2 (2 s): right handle (0.33333333, -0.5) -> (0.25, -1)"}},
        {"moved",
         [](core::Parameter& p) { p.SetPointTime(1, 1.25); },
         {"keyframe 1 (1 s): moved to 1.25 s"}},
        {"added",
         [](core::Parameter& p) { p.AddPoint(0.5, 7.0, linear); },
         {"+ keyframe 1 (0.5 s): 7, Linear"}},
        {"removed",
         [](core::Parameter& p) { p.RemovePoint(3); },
         {"- keyframe 3 (3 s): 0, Linear"}},
        {"removed and added",
         [](core::Parameter& p) {
             p.RemovePoint(1);
             p.AddPoint(1.5, 4.0, linear);
         },
         {"- keyframe 1 (1 s): 1, Hold", "+ keyframe 1 (1.5 s): 4, Linear"}},
        {"settings",
         [](core::Parameter& p) {
             p.SetValueRange(0.0, 2.0);
             p.SetBaseRatio(3.0);
         },
         {"range: none -> 0 to 2", "base ratio: none -> 3"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        core::Parameter edited;
        edited.Desialize(Fade().Serialize().c_str());
        c.edit(edited);
        const std::string after = folder.Write("b", edited.Serialize());
        const Outcome outcome = Inspect({"diff", before, after});
        EXPECT_EQ(outcome.status, c.lines.empty() ? 0 : 1) << outcome.err;
        EXPECT_EQ(outcome.out.empty(), c.lines.empty()) << outcome.out;
        for (const std::string& line : c.lines) {
            EXPECT_THAT(outcome.out, HasSubstr("\n" + line));
        }
    }
    // What only stands elsewhere in the file is no difference; a shift is one line.
    const std::string pretty = folder.Path("pretty");
    EXPECT_EQ(Inspect({"convert", before, pretty}).status, 0);
    EXPECT_EQ(Inspect({"diff", before, pretty}).out, "");
    core::Parameter shifted;
    for (int i = 0; i < 4; ++i) {
        const core::Parameter fade = Fade();
        shifted.AddPoint(fade.GetPointTime(i) + 1.0, Fade().GetPointValue(i),
                         Fade().GetInterpolationType(i));
    }
    EXPECT_THAT(Inspect({"diff", before, "-"}, shifted.Serialize()).out,
                HasSubstr("\nall 4 keyframes: moved by 1 s\n"));

    auto speed = TwoSpeeds();
    const std::string forward = folder.Write("forward", speed->Serialize());
    speed->AddFreezeFrame(3.0, 2.0);
    speed->SetReverse(true);
    speed->SetSourceFPS(24.0);
    EXPECT_EQ(Inspect({"diff", forward, "-"}, speed->Serialize()).out,
              "--- " + forward +
                  "\n+++ standard input\nframes per second: 25 -> 24\nreverse: off -> on\n"
                  "freezes: none -> 3 s for 2 s\n+ keyframe 1 (3 s): 1, Hold\n");
}

TEST(InspectConvert, KeepsEverythingAndReplacesTheFileOnlyWhenAllIsWritten) {
    const ScratchDirectory folder;
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        const std::string json = folder.Write("a.json", gallery::Build(exhibit).Serialize());
        const std::string packed = folder.Path("a.packed");
        EXPECT_EQ(Inspect({"convert", json, packed, "--to", "packed"}).status, 0);
        EXPECT_EQ(Inspect({"diff", json, packed}).out, "");
        EXPECT_EQ(Inspect({"convert", packed, "-", "--to", "compact"}).out,
                  Inspect({"convert", json, "-", "--to", "compact"}).out);
    }
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
    EXPECT_EQ(files, 3U) << "something temporary is left";
}

TEST(InspectPlot, DrawsEveryCurveThatCanBeDrawn) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        const Outcome outcome = Inspect({"plot", "-"}, gallery::Build(exhibit).Serialize());
        if (outcome.status == 0) {
            EXPECT_TRUE(LooksWellFormed(outcome.out));
        } else {
            EXPECT_THAT(outcome.err, testing::AnyOf(HasSubstr("too large to be drawn"),
                                                    HasSubstr("holds no keyframe")));
        }
    }
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
TEST(InspectPage, TakesEveryCurveAndAnyText) {
    for (const gallery::Exhibit& exhibit : gallery::Curves()) {
        SCOPED_TRACE(exhibit.name);
        const Outcome outcome = Inspect({"page", "-"}, gallery::Build(exhibit).Serialize());
        EXPECT_EQ(outcome.out.find("NaN,"), std::string::npos);
        if (outcome.status != 0) {
            EXPECT_THAT(outcome.err, HasSubstr("holds no keyframe"));
        }
    }
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
