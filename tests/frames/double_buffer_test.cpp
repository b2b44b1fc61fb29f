#include "video/frames/double_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/allocation_count.h"

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

TEST(DoubleBuffer, RefusesSizesBelowOne) {
    for (const auto& [size, count] : {std::pair{0, 2}, {153600, 0}, {-1, 2}, {153600, -1}}) {
        EXPECT_EQ(Queue(CDoubleBuffer::CreateNew(size, count)), nullptr) << size << " " << count;
    }
    EXPECT_EQ(Queue(CDoubleBuffer::CreateNew(153600, 15))->GetSize(), 15);
}

TEST(DoubleBuffer, KeepsOrderAndDropsTheNewestWhenFull) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    for (const char* frame : {"one", "two", "three"})
        Add(*queue, frame);
    EXPECT_EQ(queue->GetDataBufferSize(), 2);
    CDoubleBufferData* one = queue->PopData();
    CDoubleBufferData* two = queue->PopData();
    EXPECT_EQ(queue->PopData(), nullptr);
    Add(*queue, "dropped");
    EXPECT_EQ(queue->GetDataBufferSize(), 0);
    EXPECT_EQ(Text(one), "one");
    EXPECT_EQ(Text(two), "two");
    queue->ReleaseData(one);
    Add(*queue, "four");
    EXPECT_EQ(Text(queue->PopData()), "four");
    EXPECT_EQ(Text(two), "two");
}

TEST(DoubleBuffer, CutsToTheSlotAndIgnoresNothing) {
    const Queue queue(CDoubleBuffer::CreateNew(5, 2));
    queue->AddNewData(nullptr, 3);
    queue->AddNewData("abc", 0);
    queue->AddNewData("abc", -1);
    EXPECT_EQ(queue->GetDataBufferSize(), 0);
    Add(*queue, "123456789");
    CDoubleBufferData* slot = queue->PopData();
    int length = 0;
    const char* data = slot->GetData(length);
    EXPECT_EQ(std::string(data, 5), "12345");
    EXPECT_EQ(length, 5);
    EXPECT_EQ(data[5], '\0');  // the pad byte of an odd length
    EXPECT_TRUE(slot->IsBusy());
    queue->ReleaseData(slot);
    EXPECT_FALSE(slot->IsBusy());
}

TEST(DoubleBuffer, ClearLeavesAHeldSlotWithItsConsumer) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    Add(*queue, "held");
    Add(*queue, "waiting");
    CDoubleBufferData* held = queue->PopData();
    queue->ClearData();
    EXPECT_EQ(queue->GetDataBufferSize(), 0);
    for (const char* frame : {"new", "dropped"})
        Add(*queue, frame);
    EXPECT_EQ(queue->GetDataBufferSize(), 1);
    EXPECT_EQ(Text(held), "held");
    queue->ReleaseData(held);
    Add(*queue, "last");
    EXPECT_EQ(Text(queue->PopData()), "new");
    EXPECT_EQ(Text(queue->PopData()), "last");
}

TEST(DoubleBuffer, IgnoresWhatIsNotHeld) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    const Queue other(CDoubleBuffer::CreateNew(8, 1));
    Add(*other, "foreign");
    CDoubleBufferData* foreign = other->PopData();
    Add(*queue, "one");
    CDoubleBufferData* slot = queue->PopData();
    queue->ReleaseData(nullptr);
    queue->ReleaseData(foreign);
    queue->ReleaseData(slot);
    queue->ReleaseData(slot);  // a slot that stood twice in the empty queue would be filled twice
    for (const char* frame : {"a", "b", "c"})
        Add(*queue, frame);
    EXPECT_EQ(queue->GetDataBufferSize(), 2);
    EXPECT_EQ(Text(queue->PopData()), "a");
    EXPECT_EQ(Text(queue->PopData()), "b");
}

TEST(DoubleBuffer, ShortWaitsReturnAlmostAtOnce) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(queue->WaitNewData(10), 1);
    EXPECT_EQ(queue->WaitNewData(0), 1);
    EXPECT_EQ(queue->WaitNewData(-5), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    Add(*queue, "frame");
    EXPECT_EQ(queue->WaitNewData(10), 0);
}

TEST(DoubleBuffer, ANewFrameEndsALongWait) {
    const Queue queue(CDoubleBuffer::CreateNew(8, 2));
    std::atomic<bool> woken{false};
    std::thread consumer([&] {
        EXPECT_EQ(queue->WaitNewData(600000), 0);
        woken = true;
    });
    while (!woken) {
        Add(*queue, "frame");
        queue->ClearData();  // so that only the signal can end the wait
        std::this_thread::yield();
    }
    consumer.join();
}

TEST(DoubleBuffer, HandsFramesOverWithoutAllocating) {
    constexpr int kFrames = 5000;
    constexpr int kSize = 4096;
    const Queue queue(CDoubleBuffer::CreateNew(kSize, 2));
    std::atomic<int> seen{-1};
    std::vector<char> frame(kSize);
    std::thread consumer([&] {
        while (seen < kFrames - 1) {
            CDoubleBufferData* slot = queue->WaitNewData(10) == 0 ? queue->PopData() : nullptr;
            if (!slot) {
                std::this_thread::yield();
                continue;
            }
            int length = 0;
            const char* data = slot->GetData(length);
            const bool whole = std::all_of(data + 1, data + length, [data](char c) { return c == *data; });
            EXPECT_TRUE(whole && length == kSize) << "frame after " << seen;
            // Frames carry the low bits of their number.
            EXPECT_EQ(*data, static_cast<char>(seen + 1));
            ++seen;
            queue->ReleaseData(slot);
        }
    });
    const long before = support::AllocationCount();
    for (int number = 0; number < kFrames; ++number) {
        std::fill(frame.begin(), frame.end(), static_cast<char>(number));
        while (seen < number - 1)
            std::this_thread::yield();
        queue->AddNewData(frame.data(), kSize);
    }
    while (seen < kFrames - 1)
        std::this_thread::yield();
    EXPECT_EQ(support::AllocationCount() - before, 0);
    consumer.join();
}

}  // namespace
