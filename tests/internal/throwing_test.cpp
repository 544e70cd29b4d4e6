// What callers' functions throw ends in the log, with its text.

#include <core/messaging/event_bus.h>
#include <core/messaging/message_loop.h>

#include "core/foundation/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using core::ReportLevel;

std::vector<std::string> reports;

void Keep(const core::ReportRecord& record) {
    EXPECT_EQ(ReportLevel::Error, record.level);
    EXPECT_STREQ("core", record.tag);
    reports.emplace_back(record.text);
}

class Thrower : public core::MessageLoop {
public:
    ~Thrower() override { WaitExit(); }
    using core::MessageLoop::OnMessage;
    void OnLoopStart() override { throw std::runtime_error("too early"); }
    void OnMessage(const core::SimpleMessage& message) override { throw message.code; }
};

TEST(Throwing, FunctionsAreReportedByNameAndText) {
    const core::ReportSink before = core::SetReportSink(&Keep);
    core::EventBus bus;
    bus.listen<int>([](const int&) { throw std::runtime_error("odd number"); });
    bus.post(3);
    core::SimpleMsgBus messages;
    {
        Thrower loop;
        loop.SetMsgBus(&messages);
        loop.Launch();
        messages.AddMsg({1});
        while (messages.Count() > 0) {
        }
        messages.Close();
    }
    core::SetReportSink(before);
    EXPECT_THAT(reports, testing::ElementsAre(
                             "a listener of \"i\" threw: odd number",
                             "a message loop's OnLoopStart threw: too early",
                             "a message loop's OnMessage threw: something that is no exception"));
}

}  // namespace
