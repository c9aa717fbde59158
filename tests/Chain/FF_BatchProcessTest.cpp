#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "ChainTestStages.h"
#include "Cmn_Exception.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/FF_BatchProcess.h"
#include "FF/FF_PostProcess.h"
#include "Support/TestSupport.h"

namespace
{
// Runs iSteps steps (requeueing in between), optionally blocking first on an event, and
// optionally failing; records the order in which processes finished.
class Test_StepProcess : public FF_BatchProcess
{
public:
    Test_StepProcess(int32_t iSteps, std::vector<int>* iLogP = nullptr, int iID = 0,
                     Sys_Event::EventHandle iGate = {}, bool iFail = false)
        : mSteps(iSteps), mLogP(iLogP), mID(iID), mGate(iGate), mFail(iFail)
    {
    }
    int32_t GetStepsRun() const { return mRun.load(); }
    int32_t GetPercentCompleted() const override { return mRun.load() * 100 / mSteps; }

protected:
    EResult ExecImpl() override
    {
        if (mGate && !mGated)
        {
            mGated = true;
            GetBlocker()->Block(Sys_SyncObject::Handle(mGate.Get()));
            return eResult_Block;
        }
        if (mFail)
            throw std::runtime_error("step failed on purpose");
        if (++mRun < mSteps)
            return eResult_Requeue;
        if (mLogP)
            mLogP->push_back(mID);
        return eResult_Done;
    }

private:
    const int32_t mSteps;
    std::vector<int>* const mLogP;
    const int mID;
    Sys_Event::EventHandle mGate;
    const bool mFail;
    bool mGated = false;
    std::atomic<int32_t> mRun{0};
};

class Test_PostProcess : public FF_PostProcess
{
public:
    void DoPostProcessing(FF_BatchProcess* iBatchProcessP) override
    {
        mSeen.push_back(iBatchProcessP);
    }
    std::vector<FF_BatchProcess*> mSeen;
};

class Test_BadTypeStage : public FF_AudioProcess
{
public:
    EProcessType GetProcessType() const override { return EProcessType(7); }

protected:
    void Process(FF_AudioProcessBlock*, FF_AudioProcessBlock*) override {}
};
} // namespace

TEST(FF_AudioProcessUtils, MakesTheFourNamedWorkers)
{
    using U = FF_AudioProcessUtils;
    const std::pair<U::EWorker, const char*> workers[] = {
        {U::eWorker_Filter, "FF_AudioProcess: Filter thread"},
        {U::eWorker_Producer, "FF_AudioProcess: Producer Thread"},
        {U::eWorker_Consumer, "FF_AudioProcess: Consumer Thread"},
        {U::eWorker_Driver, "FF_AudioProcess: Driver Thread"}};
    for (const auto& [worker, name] : workers)
        EXPECT_EQ(U::GetWorker(worker).GetName(), name);
    FF_AudioProcess::ProcessHandle bad(new Test_BadTypeStage);
    EXPECT_TRUE(Test_Asserts([&] { FF_AudioProcessUtils::QueueAudioProcess(bad, 0); }, "0"));
}

TEST(FF_BatchProcess, ManualRunningRunsSlicesAndPostProcessesOnce)
{
    FF_BatchProcess::BatchProcessHandle process(new Test_StepProcess(50));
    Cmn_AliasedRefCountPtr<Test_PostProcess> post(new Test_PostProcess);
    process->SetPostProcess(FF_BatchProcess::PostProcessPtr(post.Get()));
    Sys_ProcessBlockerImpl blocker;
    EXPECT_TRUE(Test_Asserts(
        [&] { FF_AudioProcessUtils::SetupManualProcessChain(nullptr, &blocker); }, "inProcess"));
    EXPECT_TRUE(
        Test_Asserts([&] { FF_AudioProcessUtils::SetupManualProcessChain(process.Get(), nullptr); },
                     "inBlocker"));
    FF_AudioProcessUtils::SetupManualProcessChain(process.Get(), &blocker);
    EXPECT_FALSE(FF_AudioProcessUtils::RunProcessChainForSlice(process.Get(), 0));
    EXPECT_EQ(static_cast<Test_StepProcess*>(process.Get())->GetStepsRun(), 0);
    bool done = false;
    for (int i = 0; i < 1000 && !done; ++i)
        done = FF_AudioProcessUtils::RunProcessChainForSlice(process.Get(), 5);
    EXPECT_TRUE(done);
    EXPECT_EQ(process->GetStatus(), Sys_Task::eStatus_Complete);
    EXPECT_EQ(process->GetPercentCompleted(), 100);
    ASSERT_EQ(post->mSeen.size(), 1u);
    EXPECT_EQ(post->mSeen[0], process.Get());
}

TEST(FF_AudioProcessUtils, RunProcessChainToEndCompletesOrThrowsTheFailureOrTheCancel)
{
    // A chain that would stream without end, cancelled by the caller or aborted from
    // elsewhere between slices; a batch process that fails; one that completes.
    enum EEnd
    {
        eComplete,
        eFail,
        eCancel,
        eAbortElsewhere
    };
    for (EEnd end : {eComplete, eFail, eCancel, eAbortElsewhere})
    {
        SCOPED_TRACE(int(end));
        auto* consumerP = new Test_CheckingConsumer;
        const FF_AudioProcess::ProcessHandle consumer(consumerP);
        FF_BatchProcess::BatchProcessHandle process;
        if (end == eComplete || end == eFail)
            process = FF_BatchProcess::BatchProcessHandle(
                new Test_StepProcess(20, nullptr, 0, {}, end == eFail));
        else
            process = Test_MakeChain(
                {FF_AudioProcess::ProcessHandle(Test_CountingProducer(int64_t(1) << 40, 100)),
                 FF_AudioProcess::ProcessHandle(new Test_AddFilter(0)), consumer});
        int32_t asked = 0;
        auto run = [&]
        {
            FF_AudioProcessUtils::RunProcessChainToEnd(
                process.Get(),
                [&]
                {
                    ++asked;
                    if (consumerP->GetBlocks() < 20 && asked < 5000)
                        return true;
                    if (end == eAbortElsewhere)
                        process->Abort();
                    return end != eCancel;
                },
                2);
        };
        switch (end)
        {
        case eComplete:
            run();
            EXPECT_EQ(process->GetStatus(), Sys_Task::eStatus_Complete);
            break;
        case eFail:
            try
            {
                run();
                ADD_FAILURE() << "no failure";
            }
            catch (const std::runtime_error& e)
            {
                EXPECT_NE(std::string(e.what()).find("step failed on purpose"), std::string::npos);
            }
            EXPECT_EQ(process->GetStatus(), Sys_Task::eStatus_Failed);
            EXPECT_FALSE(process->IsAbortRequested()) << "a failed process is not aborted";
            break;
        default:
            EXPECT_THROW(run(), Cmn_CancelException);
            EXPECT_EQ(process->GetStatus(), Sys_Task::eStatus_Aborted);
            EXPECT_GE(consumerP->GetBlocks(), 20);
            EXPECT_EQ(consumerP->GetMismatches(), 0);
            EXPECT_TRUE(consumerP->GetStatus() & (cTest_Ended | Sys_Task::eStatus_Ready));
        }
    }
}

TEST(FF_BatchProcess, SuspendingHoldsBackWaitingProcessesAndKeepsTheirOrder)
{
    std::vector<int> log;
    Sys_Event::EventHandle gate = Sys_Event::Create(1);
    // The Driver thread is busy with a blocked process; two more wait in its queue.
    FF_BatchProcess::BatchProcessHandle blocked(new Test_StepProcess(1, nullptr, 0, gate));
    FF_BatchProcess::BatchProcessHandle first(new Test_StepProcess(3, &log, 1));
    FF_BatchProcess::BatchProcessHandle second(new Test_StepProcess(3, &log, 2));
    Sys_Event::EventHandle blockedEnded = blocked->GetNotificationEvent(cTest_Ended);
    Sys_Event::EventHandle secondEnded = second->GetNotificationEvent(cTest_Ended);
    FF_AudioProcessUtils::QueueBatchProcess(blocked);
    Test_WaitFor([&] { return blocked->GetStatus() == Sys_Task::eStatus_Blocking; });
    FF_AudioProcessUtils::QueueBatchProcess(first);
    FF_AudioProcessUtils::QueueBatchProcess(second);
    {
        FF_AudioProcessUtils::StSuspendBatchProcesses suspend;
        EXPECT_EQ(suspend.GetNumSuspended(), 2u);
        gate->Set();
        ASSERT_EQ(blockedEnded->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
        // A process queued now still runs; the two held back do not.
        FF_BatchProcess::BatchProcessHandle later(new Test_StepProcess(1, &log, 3));
        EXPECT_EQ(Test_RunQueued(later), Sys_Task::eStatus_Complete);
        EXPECT_EQ(static_cast<Test_StepProcess*>(first.Get())->GetStepsRun(), 0);
    }
    ASSERT_EQ(secondEnded->Wait(60000), Sys_SyncObject::eWaitResult_Signalled);
    EXPECT_EQ(log, (std::vector<int>{3, 1, 2}));
}
