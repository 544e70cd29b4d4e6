#include "core/foundation/report.h"

#include <core/curve/parameter.h>
#include <core/curve/parameter_iterator.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using core::Parameter;
using core::ParameterIterator;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
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
    for (bool reverse : {false, true}) {
        ParameterIterator overNothing(nullptr, reverse);
        ParameterIterator overHusk(&movedFrom, reverse);
        Collect collect;
        overNothing.First();
        overNothing.Next();
        EXPECT_TRUE(overNothing.IsDone());
        EXPECT_THAT(reports, ElementsAre("6 ZYL ParameterIterator::First: parameteter is nullptr",
                                         "6 ZYL ParameterIterator::Next: parameteter is nullptr",
                                         "6 ZYL ParameterIterator::First: parameteter is nullptr"));
        reports.clear();
        overHusk.First();
        overHusk.Next();
        EXPECT_TRUE(overHusk.IsDone());
        EXPECT_THAT(reports,
                    ElementsAre("6 ZYL ParameterIterator::First: keyframes_impl is nullptr",
                                "6 ZYL ParameterIterator::Next: keyframes_impl is nullptr",
                                "6 ZYL ParameterIterator::IsDone: keyframes_impl is nullptr"));
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

}  // namespace
