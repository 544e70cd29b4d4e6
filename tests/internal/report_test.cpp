#include "core/foundation/report.h"

#include <core/curve/load_report.h>
#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>
#include <core/speed/speed_parameter.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using core::LeftOutKeyframe;
using core::Parameter;
using core::ParameterIterator;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::vector<std::string> reports;

/// Collects what is reported while it lives, as "level tag function: text".
class Collect {
public:
    Collect() : before(core::SetReportSink(&Keep)) { reports.clear(); }
    ~Collect() { core::SetReportSink(before); }
    Collect(const Collect&) = delete;
    Collect& operator=(const Collect&) = delete;

private:
    static void Keep(const core::ReportRecord& record) {
        reports.push_back(std::to_string(static_cast<int>(record.level)) + " " + record.tag + " " +
                          (record.function == nullptr ? "-" : record.function) + ": " +
                          record.text);
    }
    core::ReportSink before;
};

TEST(Report, IteratorsSayWhatTheyLack) {
    Parameter movedFrom;
    Parameter owner = std::move(movedFrom);
    const struct {
        Parameter* parameter;
        const char* text;
        const char* reportedByIsDone;
    } rows[] = {{nullptr, "parameteter is nullptr", "First"},
                {&movedFrom, "keyframes_impl is nullptr", "IsDone"}};
    for (const auto& row : rows) {
        for (bool reverse : {false, true}) {
            ParameterIterator it(row.parameter, reverse);
            Collect collect;
            it.First();
            it.Next();
            EXPECT_TRUE(it.IsDone());
            EXPECT_EQ(0.0, it.Current().GetTime());
            auto report = [&](const std::string& function) {
                return "6 ZYL ParameterIterator::" + function + ": " + row.text;
            };
            EXPECT_THAT(reports,
                        ElementsAre(report("First"), report("Next"), report(row.reportedByIsDone)));
        }
    }
}

TEST(Report, OnlyAnAreaThatIsNeverReachedIsReported) {
    Parameter parameter;
    parameter.AddPoint(0, 1.0, core::KeyframeInterpolationType::Hold);
    parameter.AddPoint(2, 0.0, core::KeyframeInterpolationType::Hold);
    Collect collect;
    parameter.SolveTimeBaseArea(0, 2);
    parameter.SolveTimeBaseArea(0, -5);
    EXPECT_THAT(reports, ElementsAre());
    parameter.SolveTimeBaseArea(0, 2.5);
    const std::string unsolved = "error. core::BigParameterImpl::SolveTimeBaseArea line";
    EXPECT_THAT(reports,
                ElementsAre(AllOf(StartsWith("6 core "), AnyOf(EndsWith(unsolved + "[2228]"),
                                                               EndsWith(unsolved + "[2247]")))));
}

TEST(Report, SpeedCurvesSayWhatHasNoAnswer) {
    core::SpeedParameter speed;
    speed.SetSourceTotalTime(10);
    speed.SetPointValue(0, 0.0);
    speed.SetPointValue(1, 0.0);
    double a = 0, b = 0, c = 0, d = 0;
    Collect collect;
    speed.GetVelocityTimeCurve(a, b, c, d, -1);  // outside is no error
    speed.GetVelocityTimeCurve(a, b, c, d, 1);   // the last keyframe is one
    speed.GetRenderTime(5.0);
    speed.ClearKeyFrames();
    speed.GetSourceTime(1.0);
    speed.GetRenderTotalTime();  // works the curve out again
    const std::string empty = "6 core -: error. core::SpeedParameterImpl::GetRenderTotalTime0";
    EXPECT_THAT(reports,
                ElementsAre("6 core -: error. core::SpeedParameterImpl::GetVelocityTimeCurve0"
                            " line[920]",
                            "6 core -: error. core::BigParameterImpl::SolveTimeBaseArea line[2247]",
                            empty + " line[511]", empty + " line[511]"));
}

TEST(Report, LoadingNamesEachKeyframeThatItLeavesOut) {
    Parameter parameter;
    Collect collect;
    std::vector<LeftOutKeyframe> leftOut = {{7, "before"}};
    const char* const text = R"({"keyframeSets": [{"_time": 1.0}, {"_value": 2.0}, 7,
        {"_time": 3.0, "_value": "text"}, {"_time": 4.0, "_value": 5.0},
        {"_time": 1e999, "_value": 1.0}, {"_time": 1.0, "_value": 1.0, "_rightDerivative": "x"}]})";
    EXPECT_EQ(-1, DesializeAndReport(parameter, "[]", leftOut));
    EXPECT_EQ(1U, leftOut.size());
    EXPECT_EQ(0, DesializeAndReport(parameter, text, leftOut));
    EXPECT_EQ(1, parameter.GetKeyFramesCount());
    std::string told;
    for (const LeftOutKeyframe& each : leftOut) {
        told += std::to_string(each.index) + " " + each.reason + "\n";
    }
    EXPECT_EQ(told,
              "0 it has no \"_value\"\n1 it has no \"_time\"\n2 it is no object\n"
              "3 \"_value\" is not of the parameter's type\n5 \"_time\" is no finite number\n"
              "6 its right handle is no finite number\n");
    EXPECT_THAT(reports, SizeIs(6));
    EXPECT_THAT(reports, Each(StartsWith("6 BigParameterImpl -: file[big_parameter_impl] line[")));
    EXPECT_THAT(reports.back(),
                EndsWith("] keyframe 6 is left out: its right handle is no finite number"));

    // Older texts: a complete one needs no report; in others, places are those of the text, not of
    // what freezes have left of it.
    core::SpeedParameter speed;
    reports.clear();
    speed.Desialize(R"({"_totalTime": 9, "keyframeSets": [{"_time": 0, "_value": 1},
        {"_time": 2, "_value": 0}, {"_time": 3, "_value": 1}, {"_time": 9, "_value": 1}]})");
    EXPECT_THAT(reports, SizeIs(0));
    EXPECT_EQ(0, DesializeAndReport(speed, R"({"_totalTime": 9, "keyframeSets": [
        {"_time": 0, "_value": 1}, {"_time": 2, "_value": 0}, {"_time": 3, "_value": 1},
        {"_time": 5, "_value": 1}, 7, {"_time": 9, "_value": 1}]})",
                                    leftOut));
    ASSERT_EQ(1U, leftOut.size());
    EXPECT_EQ(4U, leftOut[0].index);
}

}  // namespace
