#include "Support/ThreadTestSupport.h"

Sys_Task::TaskHandle MakeTask(Test_FunctionTask::Step iStep)
{
    return Sys_Task::TaskHandle(new Test_FunctionTask(std::move(iStep)));
}

Sys_Task::TaskHandle TaskReturning(Sys_Task::EResult iResult)
{
    return MakeTask([iResult](int32_t) { return iResult; });
}

Test_FunctionTask& AsFunctionTask(const Sys_Task::TaskHandle& iTask)
{
    return static_cast<Test_FunctionTask&>(*iTask);
}

bool WaitSet(const Sys_Event::EventHandle& iEvent)
{
    return iEvent->Wait(20000) == Sys_SyncObject::eWaitResult_Signalled;
}

bool Eventually(const std::function<bool()>& iCondition, int iSeconds)
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

void RunThreads(int iCount, const std::function<void(int)>& iBody)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < iCount; ++i)
        threads.emplace_back(iBody, i);
    for (auto& thread : threads)
        thread.join();
}
