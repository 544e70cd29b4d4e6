#include <core/messaging/msg_bus.h>

#include <core/messaging/counters.h>
#include <core/messaging/queue_limit.h>
#include <core/messaging/timer.h>

#include "core/messaging/access.h"
#include "core/messaging/message_queue.h"
#include "core/messaging/timer_access.h"

#include <utility>

namespace core {

IMsgBus::~IMsgBus() = default;

SimpleMsgBus::SimpleMsgBus() : p_impl(MessageQueue<SimpleMessage>::Make()) {}

SimpleMsgBus::SimpleMsgBus(const SimpleMsgBus& other) noexcept
    : IMsgBus(other), p_impl(other.p_impl) {}

SimpleMsgBus& SimpleMsgBus::operator=(const SimpleMsgBus& other) noexcept = default;

SimpleMsgBus::~SimpleMsgBus() = default;

bool SimpleMsgBus::AddMsg(const SimpleMessage& message) {
    return p_impl->Add(message);
}

bool SimpleMsgBus::InsertUrgentMsg(const SimpleMessage& message) {
    return p_impl->InsertUrgent(message);
}

MsgBusWaitRet SimpleMsgBus::GetMsg(SimpleMessage& out) {
    return p_impl->Get(out);
}

MsgBusWaitRet SimpleMsgBus::GetMsgWaitFor(SimpleMessage& out, std::int64_t ms) {
    return p_impl->GetFor(out, ms);
}

MsgBusWaitRet SimpleMsgBus::PeekMsgWait(SimpleMessage& out) {
    return p_impl->PeekWait(out);
}

bool SimpleMsgBus::TryGetMsg(SimpleMessage& out) {
    return p_impl->TryGet(out);
}

bool SimpleMsgBus::PeekMsg(SimpleMessage& out) const {
    return p_impl->Peek(out);
}

bool SimpleMsgBus::PopMsg() {
    return p_impl->Pop();
}

std::int32_t SimpleMsgBus::Count() const {
    return p_impl->Count();
}

void SimpleMsgBus::Close() {
    p_impl->Close();
}

VersatileMsgBus::VersatileMsgBus() : p_impl(MessageQueue<Handle>::Make()) {}

VersatileMsgBus::VersatileMsgBus(const VersatileMsgBus& other) noexcept = default;

VersatileMsgBus& VersatileMsgBus::operator=(const VersatileMsgBus& other) noexcept = default;

VersatileMsgBus::~VersatileMsgBus() = default;

bool VersatileMsgBus::AddMsg(const Handle& message) {
    return p_impl->Add(message);
}

bool VersatileMsgBus::AddMsg(Handle&& message) {
    return p_impl->Add(std::move(message));
}

bool VersatileMsgBus::InsertUrgentMsg(const Handle& message) {
    return p_impl->InsertUrgent(message);
}

MsgBusWaitRet VersatileMsgBus::GetMsg(Handle& out) {
    return p_impl->Get(out);
}

MsgBusWaitRet VersatileMsgBus::GetMsgWaitFor(Handle& out, std::int64_t ms) {
    return p_impl->GetFor(out, ms);
}

MsgBusWaitRet VersatileMsgBus::PeekMsgWait(Handle& out) {
    return p_impl->PeekWait(out);
}

bool VersatileMsgBus::TryGetMsg(Handle& out) {
    return p_impl->TryGet(out);
}

bool VersatileMsgBus::PeekMsg(Handle& out) const {
    return p_impl->Peek(out);
}

bool VersatileMsgBus::PopMsg() {
    return p_impl->Pop();
}

std::int32_t VersatileMsgBus::Count() const {
    return p_impl->Count();
}

void VersatileMsgBus::Close() {
    p_impl->Close();
}

void SetLimit(SimpleMsgBus& bus, const QueueLimit& limit) {
    MessagingAccess::ImplOf(bus)->SetLimit(limit);
}

TakenMessages GetMsgs(SimpleMsgBus& bus, SimpleMessage* out, std::size_t count, std::int64_t ms) {
    return MessagingAccess::ImplOf(bus)->GetMany(out, count, ms);
}

Counters CountersOf(const SimpleMsgBus& bus) {
    return MessagingAccess::ImplOf(bus)->CountAll();
}

void SetLimit(VersatileMsgBus& bus, const QueueLimit& limit) {
    MessagingAccess::ImplOf(bus)->SetLimit(limit);
}

TakenMessages GetMsgs(VersatileMsgBus& bus, VersatileMsgBus::Handle* out, std::size_t count,
                      std::int64_t ms) {
    return MessagingAccess::ImplOf(bus)->GetMany(out, count, ms);
}

Counters CountersOf(const VersatileMsgBus& bus) {
    return MessagingAccess::ImplOf(bus)->CountAll();
}

namespace {

template <class Bus, class Message>
Timer ArmOn(Bus& bus, std::chrono::nanoseconds delay, std::chrono::nanoseconds period,
            Message&& message) {
    auto& queue = *MessagingAccess::ImplOf(bus);
    const TimerKey key =
        queue.Arm(TimerClock::After(delay), period.count(), std::forward<Message>(message));
    return detail::TimerAccess::Make(queue, key);
}

}  // namespace

Timer PostAfter(SimpleMsgBus& bus, std::chrono::nanoseconds delay, const SimpleMessage& message) {
    return ArmOn(bus, delay, std::chrono::nanoseconds(0), message);
}

Timer PostAfter(VersatileMsgBus& bus, std::chrono::nanoseconds delay,
                VersatileMsgBus::Handle message) {
    return ArmOn(bus, delay, std::chrono::nanoseconds(0), std::move(message));
}

Timer PostEvery(SimpleMsgBus& bus, std::chrono::nanoseconds period, const SimpleMessage& message) {
    return ArmOn(bus, AtLeast(period), AtLeast(period), message);
}

Timer PostEvery(VersatileMsgBus& bus, std::chrono::nanoseconds period,
                VersatileMsgBus::Handle message) {
    return ArmOn(bus, AtLeast(period), AtLeast(period), std::move(message));
}

}  // namespace core
