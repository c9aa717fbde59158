// The raw thread of this host: a pthread with the stack size asked for (raised to what the
// system and, in sanitizer builds, the instrumentation need), joined by the destructor.
#pragma once

#include <atomic>
#include <memory>
#include <pthread.h>
#include <sys/types.h>

#include "Sys_Raw.h"

class Sys_RawThreadPosix : public Sys_RawThread
{
public:
    Sys_RawThreadPosix(std::unique_ptr<Sys_RawThreadTask> iTask, size_t iStackSize);
    ~Sys_RawThreadPosix() override;

    void SetPriority(int32_t iPriority) override;
    bool IsCurrentThread() const override;
    bool HasEnded() const override { return mEnded.load(); }

    static Sys_RawThread* Create(std::unique_ptr<Sys_RawThreadTask> iTask, size_t iStackSize);
    static void SetPlatformDependentMethods();
    // The stack size used for a request of iStackSize bytes.
    static size_t GetEffectiveStackSize(size_t iStackSize);

private:
    static void* Entry(void* iSelfP);

    std::unique_ptr<Sys_RawThreadTask> mTask;
    pthread_t mThread{};
    std::atomic<pid_t> mTid{0};
    std::atomic<bool> mEnded{false};
};
