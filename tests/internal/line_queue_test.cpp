#include "core/logging/line_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <thread>

namespace {

using core::LineQueue;
using core::LineSpan;

std::string LineAt(const LineSpan& span, std::uint32_t index) {
    const std::uint32_t begin = index == 0 ? span.firstByte : span.ends[index - 1];
    return std::string(span.bytes + begin, span.ends[index] - begin);
}

// Long and short lines, so that blocks fill by bytes, by lines, and by one line.
std::string RandomLine(std::mt19937& dice) {
    const std::size_t lengths[] = {0, 1, 7, 100, 1000, 65'535, 65'536, 200'000};
    const std::size_t length = lengths[dice() % (dice() % 50 == 0 ? 8 : 4)];
    return std::string(length, static_cast<char>('a' + dice() % 26));
}

// Lines are removed in portions of what is held, and dropped behind it.
TEST(LineQueue, GivesWhatADequeGives) {
    for (std::uint32_t seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 dice(seed);
        LineQueue queue;
        std::deque<std::string> model;
        std::uint64_t waiting = 0;
        std::size_t held = 0;
        const auto forget = [&](std::size_t at) {
            waiting -= model[at].size();
            model.erase(model.begin() + static_cast<std::ptrdiff_t>(at));
        };
        for (int step = 0; step < 3000; ++step) {
            if (dice() % 10 != 0) {
                const std::string line = RandomLine(dice);
                queue.Append(line);
                model.push_back(line + "\n");
                waiting += line.size() + 1;
            } else if (dice() % 3 == 0) {
                const std::uint64_t most = dice() % (waiting + 1000);
                std::uint64_t dropped = 0;
                for (; waiting > most && model.size() > held; ++dropped) {
                    forget(held);
                }
                ASSERT_EQ(dropped, queue.DropOldest(most));
            } else {
                const bool isCrash = dice() % 4 == 0;
#if defined(CORE_IS_SANITIZED)
                held = queue.Hold().count;  // frees what a crash would leave
#endif
                LineSpan span = isCrash ? queue.FrontInACrash() : queue.Hold();
                ASSERT_LE(span.count, model.size());
                ASSERT_EQ(model.empty(), span.count == 0);
                std::string text;
                for (std::uint32_t i = 0; i < span.count; ++i) {
                    ASSERT_EQ(model[i], LineAt(span, i));
                    text += model[i];
                }
                ASSERT_EQ(text, span.Text());
                held = isCrash ? held : span.count;
                if (dice() % 2 == 0 && span.count > 0) {
                    queue.Announce(span, 0);
                    span.count -= static_cast<std::uint32_t>(dice() % span.count);
                    isCrash ? queue.RemoveInACrash(span) : queue.Remove(span);
                    held -= std::min<std::size_t>(held, span.count);
                    for (std::uint32_t i = 0; i < span.count; ++i) {
                        forget(0);
                    }
                }
            }
            ASSERT_EQ(model.size(), queue.AppendedLines() - queue.RemovedLines());
            ASSERT_EQ(waiting, queue.WaitingBytes());
        }
        // A thread can vanish at any point between the announcement of lines and the end of
        // their removal. What is taken at the end follows them either way.
        const LineSpan last = queue.Hold();
        LineSpan announced;
        std::uint64_t fileSize = 0;
        ASSERT_FALSE(queue.WasCutShort(announced, fileSize));
        if (seed % 2 == 0) {
            queue.Announce(last, 4711);
            queue.Append("behind");
            model.push_back("behind\n");
            ASSERT_TRUE(queue.WasCutShort(announced, fileSize));
            EXPECT_EQ(last.Text(), announced.Text());
            EXPECT_EQ(4711u, fileSize);
            model.erase(model.begin(), model.begin() + last.count);
        }
        for (LineSpan span = queue.TakeAtTheEnd(); span.count > 0; span = queue.TakeAtTheEnd()) {
            for (std::uint32_t i = 0; i < span.count; ++i) {
                ASSERT_EQ(model.at(0), LineAt(span, i));
                model.pop_front();
            }
        }
        ASSERT_TRUE(model.empty());
    }
}

TEST(LineQueue, HandsEveryLineFromThreadToThread) {
    constexpr int kLines = 100'000;
    LineQueue queue;
    std::thread writer([&] {
        for (int i = 0; i < kLines; ++i) {
            queue.Append(std::to_string(i));
        }
    });
    for (int expected = 0; expected < kLines;) {
        const LineSpan span = queue.Hold();
        for (std::uint32_t i = 0; i < span.count; ++i) {
            ASSERT_EQ(std::to_string(expected++) + "\n", LineAt(span, i));
        }
        queue.Remove(span);
        std::this_thread::yield();
    }
    writer.join();
    EXPECT_EQ(0u, queue.WaitingBytes());
}

}  // namespace
