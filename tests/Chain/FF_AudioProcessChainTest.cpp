#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "ChainTestStages.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "Support/TestSupport.h"

namespace
{
using Chain = FF_AudioProcessChain::ChainHandle;
using Handle = FF_AudioProcess::ProcessHandle;
constexpr int32_t cEnded = cTest_Ended;
constexpr int32_t cAtRest = cEnded | Sys_Task::eStatus_Ready;

void ExpectAllAtRest(const Chain& iChain)
{
    for (FF_AudioProcess* stageP = iChain->GetProducer().Get(); stageP;
         stageP = stageP->GetNextProcess().Get())
        EXPECT_TRUE(stageP->GetStatus() & cAtRest) << stageP->GetName() << " is still at work";
}

std::string ChainError(const Chain& iChain)
{
    const Cmn_Exception* exceptionP = iChain->GetException();
    return exceptionP ? Cmn_Exception::GetExceptionDescription(*exceptionP) : "";
}

// A filter that describes longer 24-bit blocks of one more channel than it gets.
class Test_WideningFilter : public FF_AudioProcess
{
protected:
    void Preflight(FF_AudioProcessBlock* inOutBlock) override
    {
        inOutBlock->SetNumSamples(inOutBlock->GetNumSamples() * 2);
        inOutBlock->SetBitsPerSample(24);
        inOutBlock->SetNumChannels(int16_t(inOutBlock->GetNumChannels() + 1));
    }
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}
};

class Test_NarrowingFilter : public FF_AudioProcess
{
protected:
    void Preflight(FF_AudioProcessBlock* inOutBlock) override
    {
        inOutBlock->SetNumSamples(10);
        inOutBlock->SetBitsPerSample(8);
        inOutBlock->SetNumChannels(1);
    }
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}
};
} // namespace

// (Filters in between: see PoolIsTheOnlySourceOfBlocksWhileStreaming and
// ChainsAtOnceShareTheWorkers.)
TEST(FF_AudioProcessChain, StreamsEverySampleAndReportsItsProgress)
{
    const Test_CountingBuffer stereo(100003, 2);
    auto* consumerP = new Test_CheckingConsumer;
    Chain chain = Test_MakeChain({stereo.MakeProducer(), Handle(consumerP)});
    chain->SetDescription("plain");
    EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete) << ChainError(chain);
    EXPECT_EQ(consumerP->GetBlocks(), Test_CountingBuffer::Blocks(100003));
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    EXPECT_EQ(chain->GetUnitsToProcess(), 100003);
    EXPECT_EQ(chain->GetPercentCompleted(), 100);
    EXPECT_EQ(chain->GetDescription(), "plain");
    ExpectAllAtRest(chain);
}

TEST(FF_AudioProcessChain, PoolIsTheOnlySourceOfBlocksWhileStreaming)
{
    Test_PoolWatch watch;
    auto* consumerP = new Test_CheckingConsumer(
        5, &watch, -1,
        [](int64_t iBlock)
        {
            if (iBlock % 64 == 0) // let the producer run ahead now and then
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    Chain chain = Test_MakeChain({Handle(Test_CountingProducer(3000 * 64, 64, 1, -1, &watch)),
                                  Handle(new Test_AddFilter(2)), Handle(new Test_AddFilter(3)),
                                  Handle(consumerP)});
    EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Complete) << ChainError(chain);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    EXPECT_EQ(consumerP->GetBlocks(), 3000);
    EXPECT_LE(watch.mMaxOut.load(), FF_AudioProcessChain::cNumPoolBlocks);
    EXPECT_GT(watch.mMaxOut.load(), 1);
    // 16 pool blocks plus the private blocks of the two filters and the consumer: no block
    // was made after Allocate, however long the stream.
    EXPECT_LE(consumerP->GetDistinctBlocks(), size_t(FF_AudioProcessChain::cNumPoolBlocks + 3));
    EXPECT_EQ(chain->GetProcessBlockPool()->GetSize(),
              size_t(FF_AudioProcessChain::cNumPoolBlocks));
}

TEST(FF_AudioProcessChain, AllocateGivesEveryBlockTheMaximaOfAllStages)
{
    const Test_CountingBuffer stereo(1000, 2);
    const Handle producer = stereo.MakeProducer();
    FF_AudioProcess* producerP = producer.Get();
    auto* wideP = new Test_WideningFilter;
    auto* narrowP = new Test_NarrowingFilter;
    auto* consumerP = new Test_CheckingConsumer;
    Chain chain = Test_MakeChain({producer, Handle(wideP), Handle(narrowP), Handle(consumerP)});
    chain->Allocate();
    for (FF_AudioProcess* stageP = producerP; stageP; stageP = stageP->GetNextProcess().Get())
    {
        FF_AudioProcessBlock* blockP = stageP->GetOutputBlock();
        ASSERT_TRUE(blockP);
        EXPECT_EQ(blockP->GetNumBuffers(), 3u);
        EXPECT_EQ(blockP->GetBufferBytes(), size_t(2 * Test_CountingBuffer::cBlockSamples * 3));
    }
    FF_AudioProcessBlock* poolBlockP = chain->GetProcessBlockPool()->Acquire(0);
    ASSERT_TRUE(poolBlockP);
    EXPECT_EQ(poolBlockP->GetNumBuffers(), 3u);
    EXPECT_EQ(poolBlockP->GetBufferBytes(), size_t(2 * Test_CountingBuffer::cBlockSamples * 3));
    chain->GetProcessBlockPool()->Return(poolBlockP);
    EXPECT_EQ(producerP->GetProcessBlockPool(), chain->GetProcessBlockPool());
    EXPECT_EQ(consumerP->GetProcessBlockPool(), chain->GetProcessBlockPool());
    EXPECT_EQ(wideP->GetProcessBlockPool(), nullptr);
    EXPECT_EQ(wideP->GetAbortEvent(), chain->GetAbortEvent());
}

class FF_AudioProcessChainReadError : public testing::TestWithParam<int64_t>
{
};

TEST_P(FF_AudioProcessChainReadError, EndsTheChainAsFailedWithThatError)
{
    const int64_t failOn = GetParam();
    Test_PoolWatch watch;
    auto* consumerP = new Test_CheckingConsumer(1, &watch);
    Chain chain = Test_MakeChain({Handle(Test_CountingProducer(100 * 500, 500, 1, failOn, &watch)),
                                  Handle(new Test_AddFilter(1)), Handle(consumerP)});
    EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Failed);
    EXPECT_NE(ChainError(chain).find("read error at block " + std::to_string(failOn)),
              std::string::npos)
        << ChainError(chain);
    EXPECT_LE(consumerP->GetBlocks(), failOn);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    ExpectAllAtRest(chain);
}

INSTANTIATE_TEST_SUITE_P(NthBlock, FF_AudioProcessChainReadError,
                         testing::Values(int64_t(0), int64_t(1), int64_t(16), int64_t(17),
                                         int64_t(99)));

TEST(FF_AudioProcessChain, FailingStagesEndTheChainAtRestWithTheExceptionFurthestDown)
{
    // The filter fails on block 3 while the consumer is inside its step for block 2; that step
    // either ends well, late (the chain must wait for it), or fails itself after the filter.
    const struct
    {
        int64_t mConsumerFailsOn;
        const char* mError;
    } cases[] = {{-1, "filter failed at block 3"}, {2, "consumer failed at block 2"}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.mError);
        std::atomic<bool> consumerInside{false}, consumerStepOver{false};
        Handle filter(new Test_AddFilter(0, 3,
                                         [&](int64_t iBlock)
                                         {
                                             if (iBlock == 3)
                                                 Test_WaitFor([&]
                                                              { return consumerInside.load(); });
                                         }));
        Handle consumer(new Test_CheckingConsumer(
            0, nullptr, c.mConsumerFailsOn,
            [&](int64_t iBlock)
            {
                if (iBlock != 2)
                    return;
                consumerInside = true;
                Test_WaitFor([&] { return filter->GetStatus() == Sys_Task::eStatus_Failed; });
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                consumerStepOver = true;
            }));
        const Test_CountingBuffer mono(100000);
        Chain chain = Test_MakeChain({mono.MakeProducer(), filter, consumer});
        EXPECT_EQ(Test_RunQueued(chain), Sys_Task::eStatus_Failed);
        EXPECT_TRUE(consumerStepOver.load());
        EXPECT_EQ(filter->GetStatus(), Sys_Task::eStatus_Failed);
        if (c.mConsumerFailsOn >= 0)
        {
            EXPECT_EQ(consumer->GetStatus(), Sys_Task::eStatus_Failed);
        }
        EXPECT_NE(ChainError(chain).find(c.mError), std::string::npos) << ChainError(chain);
        ExpectAllAtRest(chain);
    }
}

TEST(FF_AudioProcessChain, AbortBeforeStartRunsNoStage)
{
    const Test_CountingBuffer mono(100000);
    const Handle producer = mono.MakeProducer();
    auto* consumerP = new Test_CheckingConsumer;
    Chain chain = Test_MakeChain({producer, Handle(new Test_AddFilter(1)), Handle(consumerP)});
    Sys_ProcessBlockerImpl blocker;
    FF_AudioProcessUtils::SetupManualProcessChain(chain.Get(), &blocker);
    chain->Abort();
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Aborted);
    EXPECT_EQ(chain->Exec(), Sys_Task::eStatus_Aborted);
    EXPECT_TRUE(chain->GetAbortEvent()->IsSet());
    for (FF_AudioProcess* stageP = producer.Get(); stageP; stageP = stageP->GetNextProcess().Get())
        EXPECT_EQ(stageP->GetStatus(), Sys_Task::eStatus_Aborted);
    EXPECT_EQ(producer->GetUnitsProcessed(), 0);
    EXPECT_EQ(consumerP->GetBlocks(), 0);
}

TEST(FF_AudioProcessChain, AbortWhileStreamingEndsAbortedWithoutException)
{
    // 256 blocks at a millisecond each, aborted after 40.
    const Test_CountingBuffer mono(256 * Test_CountingBuffer::cBlockSamples);
    std::atomic<int64_t> seen{0};
    auto* consumerP =
        new Test_CheckingConsumer(0, nullptr, -1,
                                  [&](int64_t iBlock)
                                  {
                                      seen = iBlock + 1;
                                      std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                  });
    Chain chain =
        Test_MakeChain({mono.MakeProducer(), Handle(new Test_AddFilter(0)), Handle(consumerP)});
    Sys_Event::EventHandle ended = chain->GetNotificationEvent(cEnded);
    FF_AudioProcessUtils::QueueBatchProcess(chain);
    for (int i = 0; i < 20000 && seen < 40; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    chain->Abort();
    ASSERT_EQ(ended->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(chain->GetStatus(), Sys_Task::eStatus_Aborted);
    EXPECT_EQ(chain->GetException(), nullptr);
    EXPECT_LT(consumerP->GetBlocks(), 256);
    EXPECT_EQ(consumerP->GetMismatches(), 0);
    ExpectAllAtRest(chain);
}

TEST(FF_AudioProcessChain, ChainsAtOnceShareTheWorkers)
{
    // Four chains queued on the Driver thread, one driven here by hand, at the same time: all
    // put their stages on the same three workers.
    const Test_CountingBuffer stereo(400000, 2), mono(300000);
    std::vector<Chain> queued;
    std::vector<Test_CheckingConsumer*> consumers;
    std::vector<Sys_Event::EventHandle> ended;
    for (int i = 0; i < 4; ++i)
    {
        consumers.push_back(new Test_CheckingConsumer(int16_t(7 + i)));
        queued.push_back(
            Test_MakeChain({(i ? mono : stereo).MakeProducer(),
                            Handle(new Test_AddFilter(int16_t(7 + i))), Handle(consumers.back())}));
        ended.push_back(queued.back()->GetNotificationEvent(cEnded));
        FF_AudioProcessUtils::QueueBatchProcess(queued.back());
    }
    auto* manualConsumerP = new Test_CheckingConsumer(9);
    Chain manual = Test_MakeChain({mono.MakeProducer(), Handle(new Test_AddFilter(4)),
                                   Handle(new Test_AddFilter(5)), Handle(manualConsumerP)});
    int32_t slices = 0;
    FF_AudioProcessUtils::RunProcessChainToEnd(
        manual.Get(), [&] { return ++slices < 6000; }, 10);
    EXPECT_EQ(manual->GetStatus(), Sys_Task::eStatus_Complete);
    EXPECT_EQ(manualConsumerP->GetMismatches(), 0);
    EXPECT_EQ(manualConsumerP->GetBlocks(), Test_CountingBuffer::Blocks(300000));
    for (size_t i = 0; i < queued.size(); ++i)
    {
        ASSERT_EQ(ended[i]->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
        EXPECT_EQ(queued[i]->GetStatus(), Sys_Task::eStatus_Complete) << ChainError(queued[i]);
        EXPECT_EQ(consumers[i]->GetMismatches(), 0);
        EXPECT_EQ(consumers[i]->GetBlocks(), Test_CountingBuffer::Blocks(i ? 300000 : 400000));
    }
}

TEST(FF_AudioProcessChain, ExecWithoutBlockerAsserts)
{
    const Test_CountingBuffer mono(10);
    Chain chain = Test_MakeChain({mono.MakeProducer(), Handle(new Test_CheckingConsumer)});
    chain->Allocate();
    EXPECT_EQ(chain->Exec(), Sys_Task::eStatus_Failed);
    EXPECT_NE(ChainError(chain).find("mpBlocker"), std::string::npos) << ChainError(chain);
}
