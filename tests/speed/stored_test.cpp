#include <core/data/json_doc.h>
#include <core/logging/log.h>
#include <core/speed/speed_parameter.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "support/file_rows.h"
#include "support/logged.h"
#include "support/speed_words.h"

namespace {

using Type = KeyframeInterpolationType;
using Texts = std::vector<std::string>;
using SpeedPointer = std::unique_ptr<SpeedParameter>;

// ---------------------------------------------------------------------------
// Words
// ---------------------------------------------------------------------------

SpeedPointer Load(const std::string& text) {
    auto speed = std::make_unique<SpeedParameter>();
    EXPECT_EQ(0, speed->Desialize(text.c_str())) << text.substr(0, 1000);
    return speed;
}

/// What a text says behind its keyframes and their hash.
std::string Tail(const std::string& text) {
    return text.substr(text.find("\"_totalTime\""));
}

/// A text of held keyframes, given as time and speed.
std::string Held(const std::vector<std::pair<double, double>>& keys, const std::string& members) {
    std::string text = "{\"ParameterType\": 0, \"keyframeSets\": [";
    for (const auto& [time, speed] : keys) {
        char key[128];
        std::snprintf(key, sizeof key,
                      "%s{\"_time\": %.9g, \"_value\": %.9g, \"Interpolation\": 6}",
                      &time == &keys.front().first ? "" : ", ", time, speed);
        text += key;
    }
    return text + "]" + (members.empty() ? "" : ", ") + members + "}";
}

std::string Keyframes(SpeedParameter& speed) {
    std::string text;
    for (int i = 0; i < speed.GetKeyFramesCount(); ++i) {
        char key[96];
        std::snprintf(key, sizeof key, "%.9g:%.9g", speed.GetPointTime(i),
                      speed.GetPointValue(i).AsDouble());
        text += (i > 0 ? " " : "") + std::string(key);
    }
    return text;
}

/// The freezes as the text tells of them.
std::string Freezes(SpeedParameter& speed) {
    core::JsonDoc document;
    document.Parse(speed.Serialize().c_str());
    std::string text;
    if (const core::JsonMember* array = document.Root().AsObject().Find("_freeze")) {
        for (const core::JsonElem& element : array->AsArray()) {
            text += (text.empty() ? "" : ", ") + std::string(element.AsString());
        }
    }
    return text;
}

/// Away from the edges of freezes, where a rounded time decides.
void ExpectSameAnswers(SpeedParameter& a, SpeedParameter& b, double tolerance) {
    const double length = a.GetRenderTotalTime();
    EXPECT_NEAR(length, b.GetRenderTotalTime(), tolerance);
    EXPECT_EQ(a.GetSourceFPS(), b.GetSourceFPS());
    EXPECT_EQ(a.GetReverse(), b.GetReverse());
    EXPECT_NEAR(a.GetSourceTotalTime(), b.GetSourceTotalTime(), tolerance);
    for (double t = -0.5173; t < length + 1; t += 0.2137) {
        EXPECT_NEAR(a.GetSourceTime(t), b.GetSourceTime(t), tolerance) << t;
        EXPECT_NEAR(a.GetCurrentFPS(t), b.GetCurrentFPS(t), tolerance) << t;
        EXPECT_NEAR(a.RenderTimeToPointTime(t), b.RenderTimeToPointTime(t), tolerance) << t;
        EXPECT_NEAR(a.PointTimeToRenderTime(t), b.PointTimeToRenderTime(t), tolerance) << t;
        EXPECT_NEAR(a.GetRenderTime(t), b.GetRenderTime(t), tolerance) << t;
    }
}

/// What was loaded once comes back to the last bit, freezes and all.
void ExpectSettles(SpeedParameter& speed) {
    const SpeedPointer once = Load(speed.Serialize());
    const SpeedPointer twice = Load(once->Serialize());
    EXPECT_STREQ(speed.GetHashString(), Load(speed.Serialize())->GetHashString());
    EXPECT_EQ(once->Serialize(), twice->Serialize());
    EXPECT_EQ(once->GetRenderTotalTime(), twice->GetRenderTotalTime());
}

/// Speeds that a text holds exactly, so that none is near zero; with freezes at times
/// that it rounds.
SpeedPointer RandomSpeed(Dice& dice, bool isShort) {
    const auto time = [&](double most) {
        return isShort ? dice.Below(static_cast<int>(most * 64)) / 64.0 : dice.Between(0, most);
    };
    const double total = isShort ? 10.0 : dice.Between(5, 15);
    SpeedKeys keys = {{0, 1, kHold}};
    for (int i = dice.Below(8); i > 0; --i) {
        const int types[] = {kHold, kLine};
        keys.push_back({time(total), (1 + dice.Below(400)) / 128.0, types[dice.Below(2)]});
    }
    keys.push_back({total, 1, kHold});
    SpeedPointer speed = Speeds(total, keys);
    for (int i = dice.Below(6); i > 0; --i) {
        speed->AddFreezeFrame(time(total + 3), 0.015625 + time(2));
    }
    if (dice.OneIn(2)) {
        speed->SetFreezeFrameDuration(dice.Below(3), 0.25 + time(2));
    }
    speed->SetReverse(dice.OneIn(2));
    speed->SetSourceFPS(dice.OneIn(2) ? 25.0 : 24.0);
    return speed;
}

// ---------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------

// Other tools compare stored files.
TEST(StoredSpeed, WritesTheLayoutOfStoredFiles) {
    SpeedParameter fresh;
    EXPECT_EQ(R"({"Version": 1,"ParameterType": 0,"_minVal": -9223372036854775808,)"
              R"("_maxVal": 18446744073709551615,"_baseRatio": null,"keyframeSets": [)"
              R"({"_time": 0.0,"Interpolation": 6,"_value": 1.0,"_leftDerivative": 0.0,)"
              R"("_leftDerivativeY": 0.0,"_rightDerivative": 0.0,"_rightDerivativeY": 0.0}],)"
              R"("MD5": ")" +
                  std::string(fresh.GetHashString()) + R"(","_totalTime": 0.0})",
              fresh.Serialize());
    SpeedParameter slow(0.5);
    EXPECT_EQ(25.0, slow.GetSourceFPS());
    fresh.SetPointValue(0, 0.5);
    EXPECT_EQ(fresh.Serialize(), slow.Serialize());

    auto speed = TwoSpeeds();
    speed->SetSourceFPS(25.00000001);
    EXPECT_EQ(R"("_totalTime": 10.0})", Tail(speed->Serialize()));
    speed->SetSourceFPS(25.0000002);
    EXPECT_EQ(R"("_totalTime": 10.0,"_sourceFPS": 25.00000020})", Tail(speed->Serialize()));
    speed->SetSourceFPS(24.0);
    speed->SetReverse(true);
    speed->AddFreezeFrame(8.0 + 1.0 / 3, 1.0 / 3);
    speed->AddFreezeFrame(3.0, 2.0);
    EXPECT_EQ(R"("_totalTime": 10.0,"_sourceFPS": 24.0,"reverse": 1,"_freeze": )"
              R"(["3.00000000 2.00000000","10.33333333 0.33333333"]})",
              Tail(speed->Serialize()));
    EXPECT_EQ(speed->Serialize(), speed->SerializeEx());
    // A base handle writes the same.
    EXPECT_EQ(speed->Serialize(), static_cast<Parameter&>(*speed).Serialize());
}

TEST(StoredSpeed, ReproducesEveryAnswer) {
    for (std::uint64_t seed = 0; seed < 500; ++seed) {
        Dice dice(seed);
        const bool isShort = dice.OneIn(2);
        const SpeedPointer saved = RandomSpeed(dice, isShort);
        const SpeedPointer loaded = Load(saved->Serialize());
        EXPECT_EQ(Freezes(*saved), Freezes(*loaded));
        EXPECT_EQ(saved->GetKeyFramesCount(), loaded->GetKeyFramesCount());
        // Half of the eighth decimal of a speed of 1/128 is 8e-5 s of a second of source.
        ExpectSameAnswers(*saved, *loaded, 1e-3);
        ExpectSettles(*saved);
        if (HasFailure()) {
            FAIL() << "seed " << seed << "\n" << saved->Serialize();
        }
    }
}

TEST(StoredSpeed, FreezesAreWrittenAsTheyAre) {
    auto speed = Speeds(10, {{0, 1, kHold}, {10, 1, kHold}});
    std::string expected;
    for (int i = 0; i < 9; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, "%s%.8f %.8f", i > 0 ? ", " : "", 1 + 1.001 * i + i / 3.0,
                      1 / 3.0);
        expected += text;
        ASSERT_TRUE(speed->AddFreezeFrame(1 + 1.001 * i + i / 3.0, 1 / 3.0));
    }
    // The end itself, as far as a reader is concerned.
    ASSERT_TRUE(speed->AddFreezeFrame(13.00000005, 2));
    EXPECT_EQ(expected + ", 13.00000005 2.00000000", Freezes(*speed));
    ExpectSettles(*speed);

    // What is as short as an end marker is none that a reader takes.
    EXPECT_TRUE(speed->SetFreezeFrameDuration(9, 5e-8));
    EXPECT_EQ(expected, Freezes(*speed));
    auto one = Speeds(10, {{0, 1, kHold}, {10, 1, kHold}});
    one->AddFreezeFrame(3, 2);
    one->SetFreezeFrameDuration(0, 5e-8);
    EXPECT_EQ(std::string::npos, one->Serialize().find("_freeze"));
}

// Each of these is rounded by up to half of the last decimal, all in one direction.
TEST(StoredSpeed, RoundingOfManyFreezesDoesNotAddUp) {
    auto speed = Speeds(400, {{0, 1, kHold}, {400, 1, kHold}});
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(speed->AddFreezeFrame(1 + (1 + 1.0 / 3) * i, 1.0 / 3));
    }
    // As near as two can be.
    ASSERT_TRUE(speed->AddFreezeFrame(1 + 1.0 / 3 + 1.04e-7, 1.0 / 3));
    const SpeedPointer loaded = Load(speed->Serialize());
    EXPECT_EQ(speed->GetKeyFramesCount(), loaded->GetKeyFramesCount());
    EXPECT_NEAR(speed->GetRenderTotalTime(), loaded->GetRenderTotalTime(), 301 * 5e-9);
    EXPECT_EQ(Freezes(*speed), Freezes(*loaded));

    // Rounded towards each other, so that they would touch.
    auto near = Speeds(10, {{0, 1, kHold}, {10, 1, kHold}});
    ASSERT_TRUE(near->AddFreezeFrame(1.000000006, 2.0 / 3));
    ASSERT_TRUE(near->AddFreezeFrame(1.000000006 + 2.0 / 3 + 1.02e-7, 0.5));
    EXPECT_NEAR(near->GetRenderTotalTime(), Load(near->Serialize())->GetRenderTotalTime(), 1e-8);
}

// ---------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------

TEST(StoredSpeed, OlderTextsBecomeFreezes) {
    const support::Quiet quiet;
    const std::vector<support::FileRow> rows = support::RowsOf("older_speeds.txt");
    for (const support::FileRow& row : rows) {
        const SpeedPointer speed = Load(row[""]);
        EXPECT_EQ(row["keyframes"], Keyframes(*speed)) << row.name;
        EXPECT_EQ(row["freezes"], Freezes(*speed)) << row.name;
    }
    // The picture stands as long as it did.
    const SpeedPointer speed = Load(rows[0][""]);
    EXPECT_EQ(3.0, speed->GetSourceTime(4.5));
    EXPECT_EQ(4.0, speed->GetSourceTime(6.0));
    EXPECT_EQ(12.0, speed->GetRenderTotalTime());
}

/// A text with freezes, given as point time and duration.
std::string WithFreezes(SpeedParameter& speed,
                        const std::vector<std::pair<double, double>>& freezes) {
    std::string text = speed.Serialize();
    text.back() = ',';
    text += "\"_freeze\": [";
    for (const auto& [point, duration] : freezes) {
        char freeze[64];
        std::snprintf(freeze, sizeof freeze, "%s\"%.8f %.8f\"",
                      &point == &freezes.front().first ? "" : ",", point, duration);
        text += freeze;
    }
    return text + "]}";
}

TEST(StoredSpeed, LoadingFreezesIsAddingThemOneByOne) {
    Dice dice(53);
    for (int n = 0; n < 600; ++n) {
        const std::vector<int> types =
            n % 2 == 0 ? std::vector<int>{kHold, kLine} : gallery::Types();
        // Freezes in the held speeds at its start change no speed, those behind them do.
        const bool startsHeld = n % 3 == 0;
        SpeedKeys keys;
        if (startsHeld) {
            keys = {{0, 1, kHold}, {6, 1, kHold}, {6.25, 2, 7}, {10, 0.5, 7}};
        }
        for (int i = dice.Below(5); i >= 0 && !startsHeld; --i) {
            keys.push_back({dice.Below(40) / 4.0, (1 + dice.Below(64)) / 16.0, dice.Pick(types)});
        }
        const SpeedPointer added = Load(Speeds(10, keys)->Serialize());
        std::vector<std::pair<double, double>> freezes;
        for (int i = dice.Below(startsHeld ? 40 : 12); i > 0; --i) {
            freezes.push_back({dice.Below(120) / 8.0, (1 + dice.Below(8)) / 32.0});
        }
        if (startsHeld) {
            std::sort(freezes.begin(), freezes.end());
        }
        const SpeedPointer loaded = Load(WithFreezes(*added, freezes));
        for (const auto& [point, duration] : freezes) {
            added->AddFreezeFrame(point, duration);
        }
        ASSERT_EQ(Keyframes(*added), Keyframes(*loaded)) << "case " << n;
        ASSERT_EQ(Freezes(*added), Freezes(*loaded)) << "case " << n;
    }
}

// Adding these one by one would take minutes.
TEST(StoredSpeed, ManyFreezesAreLoadedInAnyOrder) {
    const int count = 100000;
    for (int type : {kHold, 7}) {
        auto speed = Speeds(count, {{0, 1, type}, {count, 1, type}});
        std::vector<std::pair<double, double>> freezes;
        for (int i = count; i-- > 0;) {
            freezes.push_back({i + 0.5, 0.25});
        }
        const SpeedPointer loaded = Load(WithFreezes(*speed, freezes));
        EXPECT_EQ(count + 2, loaded->GetKeyFramesCount());
        EXPECT_NEAR(1.25 * count, loaded->GetRenderTotalTime(), 1e-6);
        EXPECT_NEAR(1000.5, loaded->GetSourceTime(1250.5 + 0.125), 1e-9);
    }
}

TEST(StoredSpeed, TakesWhatItUnderstands) {
    const support::Quiet quiet;
    for (const support::FileRow& row : support::RowsOf("loaded_speeds.txt")) {
        auto speed = TwoSpeeds();
        speed->SetSourceFPS(24);
        speed->SetReverse(true);
        speed->AddFreezeFrame(3, 2);
        EXPECT_EQ(0, speed->Desialize(Held({{0, 1}, {10, 1}}, row[""]).c_str())) << row.name;
        EXPECT_EQ(row["saved"], Tail(speed->Serialize())) << row.name;
    }
    // Without numbers there is no instant to freeze.
    for (const char* values : {R"(3, "keyframeSets": [{"_time": 0, "_value": "x"}])",
                               R"(4, "keyframeSets": [{"_time": 0, "_value": [1, 2]}])",
                               R"(2, "keyframeSets": [{"_time": 0, "_value": false}])"}) {
        const std::string text =
            std::string("{\"ParameterType\": ") + values + R"(, "_freeze": ["0 1"]})";
        EXPECT_EQ(R"("_totalTime": 0.0})", Tail(Load(text)->Serialize())) << text;
    }
    // Nor in a curve without keyframes, but it has a length.
    EXPECT_EQ("1.00000000 2.00000000",
              Freezes(*Load(Held({}, R"("_totalTime": 5, "_freeze": ["1 2"])"))));
}

TEST(StoredSpeed, IncompleteKeyframesAreLeftOut) {
    const support::Quiet quiet;
    const std::string keys =
        R"({"_time": 0, "_value": 1}, {"_time": 1}, {"_value": 0}, 7, {"_time": 3, "_value": 0},
           {"_value": 1}, {"_time": "4", "_value": 1}, {"_time": 4, "_value": "0"})";
    const SpeedPointer plain = Load("{\"keyframeSets\": [" + keys + "]}");
    EXPECT_EQ("0:1 3:0", Keyframes(*plain));
    // The stretch from 3 to 5 ends at a keyframe that nobody can read; its length is
    // lost. The one from 6 to 8 is found all the same.
    const SpeedPointer older = Load("{\"_totalTime\": 9, \"keyframeSets\": [" + keys +
                                    R"(, {"_time": 5, "_value": 1}, {"_time": 6, "_value": 0},
                                        {"_time": 8, "_value": 2}, {"_time": 13, "_value": 1}]})");
    EXPECT_EQ("0:1 3:1 6:1 9:1", Keyframes(*older));
    EXPECT_EQ("6.00000000 2.00000000", Freezes(*older));
}

TEST(StoredSpeed, RefusesAsAWhole) {
    Dice dice(3);
    const SpeedPointer speed = RandomSpeed(dice, true);
    speed->AddFreezeFrame(0.5, 1);
    const std::string before = speed->Serialize();
    const double length = speed->GetRenderTotalTime();
    EXPECT_EQ(-1, speed->Desialize(nullptr));
    const std::string older = Held({{0, 1}, {3, 0}, {5, 1}}, R"("_totalTime": 7, "_freeze": [])");
    Texts texts = {"",
                   "null",
                   "[]",
                   "{}",
                   R"({"_totalTime": 5, "reverse": 1, "_freeze": ["1 2"]})",
                   Held({{0, 1}, {3, 0}, {5, 1}}, R"("ParameterType": 0)").replace(18, 1, "9"),
                   R"({"keyframeSets": {}, "_totalTime": 5})"};
    for (const std::string& whole : {before, older}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            texts.push_back(whole.substr(0, size));
        }
    }
    for (const std::string& text : texts) {
        ASSERT_EQ(-1, speed->Desialize(text.c_str())) << text;
        ASSERT_EQ(before, speed->Serialize()) << text;
        ASSERT_EQ(length, speed->GetRenderTotalTime()) << text;
    }
}

TEST(StoredSpeed, DoesNotDependOnTheLocale) {
    auto speed = TwoSpeeds();
    speed->AddFreezeFrame(2.5, 0.5);
    const std::string before = speed->Serialize();
    const std::string locale = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "German_Germany.1252"}) {
        std::setlocale(LC_ALL, name);
    }
    EXPECT_EQ(before, SpeedParameter(*speed).Serialize());
    EXPECT_EQ(before, Load(before)->Serialize());
    std::setlocale(LC_ALL, locale.c_str());
}

}  // namespace
