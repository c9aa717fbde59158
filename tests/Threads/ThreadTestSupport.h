// Helpers of the thread tests, and the headers that most of them use.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Cmn_Assert.h"
#include "Cmn_Exception.h"
#include "Sys_Event.h"
#include "Sys_Task.h"
#include "TestSupport.h"

// A task whose steps are a function of the step number (from 0).
class Test_FunctionTask : public Sys_Task
{
public:
    using Step = std::function<EResult(int32_t iStep)>;
    explicit Test_FunctionTask(Step iStep) : mStep(std::move(iStep)) {}

    int32_t GetStepCount() const { return mSteps.load(); }
    int32_t GetAbortImplCount() const { return mAbortImpls.load(); }

protected:
    EResult ExecImpl() override { return mStep(mSteps.fetch_add(1)); }
    void AbortImpl() override { mAbortImpls.fetch_add(1); }

private:
    Step mStep;
    std::atomic<int32_t> mSteps{0};
    std::atomic<int32_t> mAbortImpls{0};
};

inline Sys_Task::TaskHandle MakeTask(Test_FunctionTask::Step iStep)
{
    return Sys_Task::TaskHandle(new Test_FunctionTask(std::move(iStep)));
}

// A task that returns iResult from every step.
inline Sys_Task::TaskHandle TaskReturning(Sys_Task::EResult iResult)
{
    return MakeTask([iResult](int32_t) { return iResult; });
}

inline Test_FunctionTask& AsFunctionTask(const Sys_Task::TaskHandle& iTask)
{
    return static_cast<Test_FunctionTask&>(*iTask);
}

// Whether iEvent is signalled within 20 seconds (a bound against hangs).
inline bool WaitSet(const Sys_Event::EventHandle& iEvent)
{
    return iEvent->Wait(20000) == Sys_SyncObject::eWaitResult_Signalled;
}

// Polls iCondition until it holds or iSeconds pass (a bound against hangs, not a timing
// claim); returns the last answer.
inline bool Eventually(const std::function<bool()>& iCondition, int iSeconds = 10)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(iSeconds);
    while (!iCondition())
    {
        if (std::chrono::steady_clock::now() > deadline)
            return iCondition();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Runs iBody(i) for i from 0 to iCount - 1, each on a thread of its own, all at once, and
// joins them.
inline void RunThreads(int iCount, const std::function<void(int)>& iBody)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < iCount; ++i)
        threads.emplace_back(iBody, i);
    for (auto& thread : threads)
        thread.join();
}

// The text of what iCall threw, or "" when it did not throw.
inline std::string ThrownText(const std::function<void()>& iCall)
{
    try
    {
        iCall();
    }
    catch (const std::exception& e)
    {
        return e.what();
    }
    return "";
}
