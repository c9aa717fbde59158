// The stages that meet a real-time engine, with the engine played by the test thread.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "ChainTestStages.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadDirectIOBuffers.h"
#include "FF/Audio/Processing/Read/FF_AudioProcessReadRingBuffers.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessRegulator.h"
#include "FF/Audio/Processing/Write/FF_AudioProcessWriteBuffer.h"
#include "Support/TestSupport.h"

namespace
{
using Handle = FF_AudioProcess::ProcessHandle;

// The real-time side: calls FillBuffers until the chain has ended and nothing is left;
// returns each channel's bytes and how many calls gave data.
struct Test_Drain
{
    std::vector<std::vector<char>> mChannels;
    int32_t mFilled = 0;
};

Test_Drain DrainRegulator(FF_AudioProcessRegulator& iRegulator, int16_t iChannels,
                          const FF_AudioProcessChain::ChainHandle& iChain)
{
    Test_Drain drain;
    drain.mChannels.resize(size_t(iChannels));
    std::vector<std::vector<char>> out(size_t(iChannels),
                                       std::vector<char>(size_t(iRegulator.GetBufferBytes())));
    std::vector<char*> outP;
    for (auto& buffer : out)
        outP.push_back(buffer.data());
    for (int i = 0; i < 200000; ++i)
    {
        const bool ended = iChain->GetStatus() & cTest_Ended;
        if (iRegulator.FillBuffers(outP.data()))
        {
            ++drain.mFilled;
            for (int16_t c = 0; c < iChannels; ++c)
                drain.mChannels[size_t(c)].insert(drain.mChannels[size_t(c)].end(),
                                                  out[size_t(c)].begin(), out[size_t(c)].end());
        }
        else if (ended)
            break;
        else
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return drain;
}

int16_t SampleAt(const std::vector<char>& iBytes, size_t iIndex)
{
    int16_t value = 0;
    std::memcpy(&value, iBytes.data() + iIndex * 2, 2);
    return value;
}
} // namespace

TEST(FF_AudioProcessRegulator, FillBuffersGivesSilenceAndFalseBeforeThePrimingAndAfterTheEnd)
{
    auto* regulatorP = new FF_AudioProcessRegulator(2, 1000);
    auto chain = Test_MakeChain({Handle(Test_CountingProducer(10007, 640, 2)), Handle(regulatorP)});
    chain->Allocate();
    std::vector<char> left(1000, 'x'), right(1000, 'x');
    char* outP[] = {left.data(), right.data()};
    EXPECT_FALSE(regulatorP->FillBuffers(outP));
    EXPECT_EQ(std::count(left.begin(), left.end(), 0), 1000);
    EXPECT_EQ(std::count(right.begin(), right.end(), 0), 1000);
    EXPECT_FALSE(regulatorP->GetIsPrimedEvent()->IsSet());

    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    ASSERT_EQ(regulatorP->GetIsPrimedEvent()->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    // 20014 bytes a channel fit in 21 of the 24 buffers: primed by the stream's length.
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    const Test_Drain drain = DrainRegulator(*regulatorP, 2, chain);
    EXPECT_EQ(drain.mFilled, 21);
    std::fill(left.begin(), left.end(), 'x');
    EXPECT_FALSE(regulatorP->FillBuffers(outP));
    EXPECT_EQ(std::count(left.begin(), left.end(), 0), 1000);
}

TEST(FF_AudioProcessRegulator, StreamLongerThanTheRingArrivesWholeWithAZeroTail)
{
    const int64_t total = 60001; // 120002 bytes a channel: 121 buffers, the last one short
    auto* regulatorP = new FF_AudioProcessRegulator(2, 1000);
    auto chain = Test_MakeChain({Handle(Test_CountingProducer(total, 1000, 2)),
                                 Handle(new Test_AddFilter(3)), Handle(regulatorP)});
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    // Nothing is read until the ring is full: that primes it, long before the end.
    ASSERT_EQ(regulatorP->GetIsPrimedEvent()->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_FALSE(chain->GetStatus() & cTest_Ended);
    const Test_Drain drain = DrainRegulator(*regulatorP, 2, chain);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    ASSERT_EQ(drain.mFilled, 121);
    for (int c = 0; c < 2; ++c)
    {
        const std::vector<char>& bytes = drain.mChannels[size_t(c)];
        int64_t wrong = 0;
        for (int64_t i = 0; i < total; ++i)
            wrong += SampleAt(bytes, size_t(i)) != int16_t(Test_Sample(i, c) + 3);
        EXPECT_EQ(wrong, 0) << "channel " << c;
        EXPECT_EQ(std::count(bytes.begin() + total * 2, bytes.end(), 0), 121000 - total * 2);
    }
}

TEST(FF_AudioProcessRegulator, UnknownLengthIsPrimedOnlyByAFullRing)
{
    // 10 buffers' worth of an unannounced length: never primed, never done. 30 buffers'
    // worth: the ring fills and primes; the consumer then waits for the real-time side. An
    // abort ends both.
    for (const int64_t total : {5000, 15000})
    {
        SCOPED_TRACE(total);
        auto* regulatorP = new FF_AudioProcessRegulator(1, 1000);
        auto chain = Test_MakeChain(
            {Handle(Test_CountingProducer(total, 500, 1, -1, nullptr, false)), Handle(regulatorP)});
        Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
        FF_AudioProcessUtils::QueueBatchProcess(chain);
        if (total < 10000)
        {
            Test_WaitFor([&] { return regulatorP->GetUnitsProcessed() >= total; });
            EXPECT_EQ(regulatorP->GetUnitsProcessed(), total);
            EXPECT_FALSE(regulatorP->GetIsPrimedEvent()->IsSet());
        }
        else
            ASSERT_EQ(regulatorP->GetIsPrimedEvent()->Wait(60000),
                      Sys_SyncObject::eWaitResult_Signalled);
        chain->Abort();
        ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
        EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Aborted);
        EXPECT_EQ(regulatorP->GetStatus(), Sys_Task::eStatus_Aborted);
    }
}

TEST(FF_AudioProcessRegulator, PreflightChecksTheChannels)
{
    auto chain = Test_MakeChain(
        {Handle(Test_CountingProducer(100, 10, 2)), Handle(new FF_AudioProcessRegulator(1, 100))});
    EXPECT_TRUE(
        Test_Asserts([&] { chain->Allocate(); }, "inOutBlock->GetNumChannels() == mNumOutBuffers"));
}

TEST(FF_AudioProcessReadRingBuffers, CopiesEachSetOfBuffersIntoOneBlockUpToTheTotal)
{
    constexpr int cSets = 12, cPerSet = 1000, cBuffers = 4;
    constexpr int64_t cTotal = cSets * cPerSet - 300; // the last set is cut
    FF_AudioProcessReadRingBuffers::BufferRing filled(cBuffers), empty(cBuffers);
    FF_AudioProcessReadRingBuffers::CountRing counts(cSets);
    std::vector<std::vector<char>> storage(cBuffers, std::vector<char>(cPerSet * 3));
    for (auto& buffer : storage)
    {
        char* bufferP = buffer.data();
        empty.Push(&bufferP, 1);
    }
    FF_AudioProcessReadRingBuffers::BufferRing* filledP[] = {&filled};
    FF_AudioProcessReadRingBuffers::BufferRing* emptyP[] = {&empty};
    Sys_Semaphore::SemaphoreHandle data = Sys_Semaphore::Create(0, cSets);
    std::vector<char> result(size_t(cTotal) * 3, 'x');
    auto chain = Test_MakeChain(
        {Handle(new FF_AudioProcessReadRingBuffers(eByteOrder_Native, filledP, emptyP, &counts,
                                                   48000, 24, 1, data, cPerSet, cTotal)),
         Handle(new FF_AudioProcessWriteBuffer(result.data(), int64_t(result.size())))});
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    for (int set = 0; set < cSets; ++set)
    {
        Test_WaitFor([&] { return !empty.IsEmpty(); });
        ASSERT_FALSE(empty.IsEmpty());
        char* bufferP = empty.GetReadItem();
        empty.AdvanceReadPtr();
        for (int i = 0; i < cPerSet * 3; ++i)
            bufferP[i] = char((set * cPerSet * 3 + i) % 251);
        filled.Push(&bufferP, 1);
        const int32_t count = cPerSet;
        counts.Push(&count, 1);
        data->Release(1);
    }
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    int64_t wrong = 0;
    for (int64_t i = 0; i < cTotal * 3; ++i)
        wrong += result[size_t(i)] != char(i % 251);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(empty.GetCount(), cBuffers); // every buffer went back
}

TEST(FF_AudioProcessReadDirectIOBuffers, HandsEachFillOnInBlocksOf4096Samples)
{
    constexpr int32_t cFillSamples = 10000;
    constexpr int64_t cTotal = 3 * cFillSamples + 2500;
    std::vector<char> left(cFillSamples * 2), right(cFillSamples * 2);
    char* buffers[] = {left.data(), right.data()};
    int32_t sizes[] = {0, 0};
    Sys_Event::EventHandle dataReady = Sys_Event::Create(0);
    auto* producerP = new FF_AudioProcessReadDirectIOBuffers(eByteOrder_Native, buffers, sizes, 2,
                                                             44100, 16, dataReady, cTotal);
    auto* consumerP = new Test_CheckingConsumer;
    auto chain = Test_MakeChain({Handle(producerP), Handle(consumerP)});
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    for (int64_t start = 0; start < cTotal; start += cFillSamples)
    {
        const int64_t samples = std::min<int64_t>(cFillSamples, cTotal - start);
        for (int64_t i = 0; i < samples; ++i)
        {
            const int16_t l = Test_Sample(start + i, 0), r = Test_Sample(start + i, 1);
            std::memcpy(left.data() + i * 2, &l, 2);
            std::memcpy(right.data() + i * 2, &r, 2);
        }
        sizes[0] = sizes[1] = int32_t(samples * 2);
        dataReady->Set();
        ASSERT_EQ(producerP->GetBuffersConsumedEvent()->Wait(60000),
                  Sys_SyncObject::eWaitResult_Signalled);
    }
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Complete);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    // Per fill: 4096 + 4096 + 1808 samples; the last fill 2500.
    EXPECT_EQ(consumerP->GetBlocks(), 3 * 3 + 1);
}

TEST(FF_AudioProcessWriteBuffer, StoresTheStreamAndRefusesMoreThanTheBufferHolds)
{
    const Test_CountingBuffer mono(2000), longer(2001), stereo(10, 2);
    std::vector<char> result(2000 * 2);
    auto fits = Test_MakeChain(
        {mono.MakeProducer(), Handle(new FF_AudioProcessWriteBuffer(result.data(), 4000))});
    EXPECT_EQ(Test_RunQueued(fits), Sys_Task::eStatus_Complete);
    int64_t wrong = 0;
    for (size_t i = 0; i < 2000; ++i)
        wrong += SampleAt(result, i) != Test_Sample(int64_t(i), 0);
    EXPECT_EQ(wrong, 0);

    auto tooLong = Test_MakeChain(
        {longer.MakeProducer(), Handle(new FF_AudioProcessWriteBuffer(result.data(), 4000))});
    EXPECT_EQ(Test_RunQueued(tooLong), Sys_Task::eStatus_Failed);

    auto twoChannels = Test_MakeChain(
        {stereo.MakeProducer(), Handle(new FF_AudioProcessWriteBuffer(result.data()))});
    EXPECT_TRUE(
        Test_Asserts([&] { twoChannels->Allocate(); }, "inOutBlock->GetNumChannels() == 1"));
}
