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
#include "Support/TestSupport.h"
#include "Sys_Event.h"
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

Sys_Task::TaskHandle MakeTask(Test_FunctionTask::Step iStep);
// A task that returns iResult from every step.
Sys_Task::TaskHandle TaskReturning(Sys_Task::EResult iResult);
Test_FunctionTask& AsFunctionTask(const Sys_Task::TaskHandle& iTask);

// Whether iEvent is signalled within 20 seconds (a bound against hangs).
bool WaitSet(const Sys_Event::EventHandle& iEvent);

// Polls iCondition until it holds or iSeconds pass (a bound against hangs, not a timing
// claim); returns the last answer.
bool Eventually(const std::function<bool()>& iCondition, int iSeconds = 10);

// Runs iBody(i) for i from 0 to iCount - 1, each on a thread of its own, all at once, and
// joins them.
void RunThreads(int iCount, const std::function<void(int)>& iBody);
