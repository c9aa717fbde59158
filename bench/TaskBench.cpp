// Tasks and lock-free structures beside plain standard-library equivalents.
//
//  - hand-off latency: queue one task on an idle worker and wait until it has run;
//  - throughput: queue a batch of tasks on one worker and wait for the last;
//  - pool: one allocation and release of a fixed-size block.
// The comparisons do the same work with a std::mutex and std::condition_variable queue
// served by one std::thread, and a free list under a std::mutex.
#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "Sys_AtomicPool.h"
#include "Sys_Event.h"
#include "Sys_MultiTaskThread.h"
#include "Sys_Task.h"

namespace
{
// A task that counts and, when asked, sets an event.
class Bench_Task : public Sys_Task
{
public:
    Bench_Task(std::atomic<int64_t>& ioCounter, Sys_Event* iDoneP)
        : mCounterP(&ioCounter), mDoneP(iDoneP)
    {
    }

protected:
    EResult ExecImpl() override
    {
        mCounterP->fetch_add(1, std::memory_order_relaxed);
        if (mDoneP)
            mDoneP->Set();
        return eResult_Done;
    }

private:
    std::atomic<int64_t>* mCounterP;
    Sys_Event* mDoneP;
};

// The plain comparison: one worker thread over a mutex and condition-variable queue.
class Bench_StdWorker
{
public:
    Bench_StdWorker() : mThread([this] { Run(); }) {}
    ~Bench_StdWorker()
    {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mStop = true;
        }
        mCondition.notify_one();
        mThread.join();
    }
    void Add(std::function<void()> iJob)
    {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mJobs.push_back(std::move(iJob));
        }
        mCondition.notify_one();
    }

private:
    void Run()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        for (;;)
        {
            mCondition.wait(lock, [this] { return mStop || !mJobs.empty(); });
            if (mJobs.empty())
                return;
            std::function<void()> job = std::move(mJobs.front());
            mJobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
        }
    }

    std::mutex mMutex;
    std::condition_variable mCondition;
    std::deque<std::function<void()>> mJobs;
    bool mStop = false;
    std::thread mThread;
};

// A flag with a condition variable, the waiting side of the plain comparison.
class Bench_StdSignal
{
public:
    void Set()
    {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mSet = true;
        }
        mCondition.notify_one();
    }
    void WaitAndReset()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mCondition.wait(lock, [this] { return mSet; });
        mSet = false;
    }

private:
    std::mutex mMutex;
    std::condition_variable mCondition;
    bool mSet = false;
};
} // namespace

static void BM_MultiTaskThread_HandOff(benchmark::State& state)
{
    auto worker = Sys_MultiTaskThread::Create();
    auto done = Sys_Event::Create(0);
    std::atomic<int64_t> counter{0};
    for (auto _ : state)
    {
        worker->AddTask(Sys_Task::TaskHandle(new Bench_Task(counter, done.Get())), 0);
        done->Wait(Sys_SyncObject::cWaitForever);
    }
    state.SetItemsProcessed(counter.load());
}
BENCHMARK(BM_MultiTaskThread_HandOff)->UseRealTime();

static void BM_StdQueue_HandOff(benchmark::State& state)
{
    Bench_StdWorker worker;
    Bench_StdSignal done;
    std::atomic<int64_t> counter{0};
    for (auto _ : state)
    {
        worker.Add(
            [&]
            {
                counter.fetch_add(1, std::memory_order_relaxed);
                done.Set();
            });
        done.WaitAndReset();
    }
    state.SetItemsProcessed(counter.load());
}
BENCHMARK(BM_StdQueue_HandOff)->UseRealTime();

static void BM_MultiTaskThread_Throughput(benchmark::State& state)
{
    const int64_t batch = state.range(0);
    auto worker = Sys_MultiTaskThread::Create();
    auto done = Sys_Event::Create(0);
    std::atomic<int64_t> counter{0};
    for (auto _ : state)
    {
        for (int64_t i = 0; i + 1 < batch; ++i)
            worker->AddTask(Sys_Task::TaskHandle(new Bench_Task(counter, nullptr)), 0);
        worker->AddTask(Sys_Task::TaskHandle(new Bench_Task(counter, done.Get())), 0);
        done->Wait(Sys_SyncObject::cWaitForever);
    }
    state.SetItemsProcessed(counter.load());
}
BENCHMARK(BM_MultiTaskThread_Throughput)->Arg(1000)->UseRealTime();

static void BM_StdQueue_Throughput(benchmark::State& state)
{
    const int64_t batch = state.range(0);
    Bench_StdWorker worker;
    Bench_StdSignal done;
    std::atomic<int64_t> counter{0};
    for (auto _ : state)
    {
        for (int64_t i = 0; i + 1 < batch; ++i)
            worker.Add([&] { counter.fetch_add(1, std::memory_order_relaxed); });
        worker.Add(
            [&]
            {
                counter.fetch_add(1, std::memory_order_relaxed);
                done.Set();
            });
        done.WaitAndReset();
    }
    state.SetItemsProcessed(counter.load());
}
BENCHMARK(BM_StdQueue_Throughput)->Arg(1000)->UseRealTime();

static void BM_AtomicPool_AllocFree(benchmark::State& state)
{
    Sys_AtomicPool pool;
    pool.Init(256);
    auto reservation = pool.Reserve(16);
    for (auto _ : state)
    {
        void* p = pool.Alloc(256);
        benchmark::DoNotOptimize(p);
        Sys_AtomicPool::Free(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_AtomicPool_AllocFree)->Threads(1)->Threads(2);

static void BM_MutexFreeList_AllocFree(benchmark::State& state)
{
    static std::mutex sMutex;
    static std::vector<void*> sFree;
    if (state.thread_index() == 0)
    {
        std::lock_guard<std::mutex> lock(sMutex);
        for (int i = 0; i < 16; ++i)
            sFree.push_back(::operator new(256));
    }
    for (auto _ : state)
    {
        void* p = nullptr;
        {
            std::lock_guard<std::mutex> lock(sMutex);
            if (!sFree.empty())
            {
                p = sFree.back();
                sFree.pop_back();
            }
        }
        benchmark::DoNotOptimize(p);
        if (p)
        {
            std::lock_guard<std::mutex> lock(sMutex);
            sFree.push_back(p);
        }
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0)
    {
        std::lock_guard<std::mutex> lock(sMutex);
        for (void* p : sFree)
            ::operator delete(p);
        sFree.clear();
    }
}
BENCHMARK(BM_MutexFreeList_AllocFree)->Threads(1)->Threads(2);
