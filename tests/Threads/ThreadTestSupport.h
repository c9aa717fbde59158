// Helpers of the thread tests.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

#include "Cmn_Exception.h"
#include "Sys_Task.h"

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

inline Test_FunctionTask& AsFunctionTask(const Sys_Task::TaskHandle& iTask)
{
    return static_cast<Test_FunctionTask&>(*iTask);
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

// The text of what a call threw, or "" when it did not throw.
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
