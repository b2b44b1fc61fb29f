#include "video/frames/double_buffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <string>
#include <thread>

#include "tests/frames/seeded_random.h"

namespace {

using Queue = std::unique_ptr<CDoubleBuffer>;

void Add(CDoubleBuffer& queue, const std::string& text) {
    queue.AddNewData(text.data(), static_cast<int>(text.size()));
}

std::string Text(CDoubleBufferData* slot) {
    int length = 0;
    const char* data = slot->GetData(length);
    return {data, static_cast<std::size_t>(length)};
}

// Whatever happens in whatever order: frames come out as they went in, the newest are dropped when all slots are taken,
// and a slot that is held keeps its frame.
TEST(DoubleBuffer, HandsOverInOrderAndDropsTheNewest) {
    std::mt19937 random = SeededRandom();
    for (const int slots : {1, 2, 3}) {
        const Queue queue(CDoubleBuffer::CreateNew(8, slots));
        const Queue other(CDoubleBuffer::CreateNew(8, 1));
        Add(*other, "foreign");
        CDoubleBufferData* const foreign = other->PopData();
        std::deque<std::string> waiting;
        std::deque<std::pair<CDoubleBufferData*, std::string>> held;
        for (int step = 0; step < 3000; ++step) {
            const unsigned action = random() % 10;
            if (action < 5) {
                const std::string frame = std::to_string(step);
                Add(*queue, frame);
                if (static_cast<int>(waiting.size() + held.size()) < slots) waiting.push_back(frame);
            } else if (action < 7) {
                CDoubleBufferData* slot = queue->PopData();
                ASSERT_EQ(slot == nullptr, waiting.empty());
                if (!slot) continue;
                held.emplace_back(slot, waiting.front());
                waiting.pop_front();
            } else if (action < 9 && !held.empty()) {
                std::swap(held.front(), held[random() % held.size()]);
                CDoubleBufferData* const slot = held.front().first;
                for (CDoubleBufferData* released : {slot, slot, foreign, static_cast<CDoubleBufferData*>(nullptr)})
                    queue->ReleaseData(released);
                held.pop_front();
            } else if (action == 9 && random() % 10 == 0) {
                queue->ClearData();
                waiting.clear();
            }
            ASSERT_EQ(queue->GetDataBufferSize(), static_cast<int>(waiting.size()));
            for (const auto& [slot, frame] : held)
                ASSERT_EQ(Text(slot), frame);
        }
    }
}

TEST(DoubleBuffer, CutsToTheSlotAndIgnoresNothing) {
    for (const auto& [size, count] : {std::pair{0, 2}, {153600, 0}, {-1, 2}, {153600, -1}})
        EXPECT_FALSE(Queue(CDoubleBuffer::CreateNew(size, count))) << size << " " << count;
    const Queue queue(CDoubleBuffer::CreateNew(5, 2));
    queue->AddNewData(nullptr, 3);
    queue->AddNewData("abc", 0);
    queue->AddNewData("abc", -1);
    EXPECT_EQ(queue->GetDataBufferSize(), 0);
    Add(*queue, "123456789");
    CDoubleBufferData* slot = queue->PopData();
    EXPECT_EQ(Text(slot), "12345");
    int length = 0;
    EXPECT_EQ(slot->GetData(length)[5], '\0');  // the pad byte of an odd length
    EXPECT_TRUE(slot->IsBusy());
    CDoubleBufferData fresh(3);
    EXPECT_EQ(Text(&fresh), "");
}

TEST(DoubleBuffer, ShortWaitsEndAtOnceAndLongOnesWithAFrameOrACall) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    const auto start = std::chrono::steady_clock::now();
    for (const int milliseconds : {10, 0, -5})
        EXPECT_EQ(queue->WaitNewData(milliseconds), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    for (const bool call : {false, true}) {
        std::atomic<bool> woken{false};
        std::thread consumer([&] {
            EXPECT_EQ(queue->WaitNewData(20000), 0);
            woken = true;
        });
        while (!woken) {
            call ? queue->WakeWaiter() : Add(*queue, "frame");
            queue->ClearData();  // so that only the signal can end the wait
            std::this_thread::yield();
        }
        consumer.join();
    }
}

TEST(DoubleBuffer, HandsWholeFramesFromThreadToThread) {
    constexpr int kFrames = 5000;
    const Queue queue(CDoubleBuffer::CreateNew(4096, 2));
    std::atomic<int> seen{0};
    std::thread consumer([&] {
        while (seen < kFrames) {
            CDoubleBufferData* slot = queue->WaitNewData(10) == 0 ? queue->PopData() : nullptr;
            std::this_thread::yield();
            if (!slot) continue;
            EXPECT_EQ(Text(slot), std::string(4096, static_cast<char>(seen)));  // the low bits of its number
            queue->ReleaseData(slot);
            ++seen;
        }
    });
    for (int number = 0; number < kFrames; ++number) {
        while (seen < number - 1)
            std::this_thread::yield();
        Add(*queue, std::string(4096, static_cast<char>(number)));
    }
    consumer.join();
}

}  // namespace
