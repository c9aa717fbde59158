#include "Sys_RawThreadPosix.h"

#include <algorithm>
#include <climits>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Cmn_Assert.h"
#include "Sys_OSErrData.h"
#include "Sys_ThreadPosix.h"

namespace
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t cMinimumStackSize = 1 << 20;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr size_t cMinimumStackSize = 1 << 20;
#else
constexpr size_t cMinimumStackSize = 0;
#endif
#else
constexpr size_t cMinimumStackSize = 0;
#endif
} // namespace

Sys_RawThreadPosix::Sys_RawThreadPosix(std::unique_ptr<Sys_RawThreadTask> iTask, size_t iStackSize)
    : mTask(std::move(iTask))
{
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, GetEffectiveStackSize(iStackSize));
    const int error = ::pthread_create(&mThread, &attributes, &Entry, this);
    ::pthread_attr_destroy(&attributes);
    Sys_ThrowIfOSErr(error, "");
}

Sys_RawThreadPosix::~Sys_RawThreadPosix()
{
    if (IsCurrentThread())
        ::pthread_detach(mThread);
    else
        ::pthread_join(mThread, nullptr);
}

Sys_RawThread* Sys_RawThreadPosix::Create(std::unique_ptr<Sys_RawThreadTask> iTask,
                                          size_t iStackSize)
{
    return new Sys_RawThreadPosix(std::move(iTask), iStackSize);
}

void Sys_RawThreadPosix::SetPlatformDependentMethods()
{
    Sys_RawThread::SetCreateMethod(&Create);
}

size_t Sys_RawThreadPosix::GetEffectiveStackSize(size_t iStackSize)
{
    const size_t page = size_t(::sysconf(_SC_PAGESIZE));
    size_t size = std::max({iStackSize, size_t(PTHREAD_STACK_MIN), cMinimumStackSize});
    return (size + page - 1) / page * page;
}

void Sys_RawThreadPosix::SetPriority(int32_t iPriority)
{
    const pid_t tid = mTid.load();
    if (tid != 0 && !mEnded)
        ::setpriority(PRIO_PROCESS, id_t(tid), Sys_ThreadPosix::GetNiceValue(iPriority));
}

bool Sys_RawThreadPosix::IsCurrentThread() const
{
    // By the kernel's thread id, which the thread stores itself before anything else.
    return mTid.load() == pid_t(::syscall(SYS_gettid));
}

void* Sys_RawThreadPosix::Entry(void* iSelfP)
{
    auto* selfP = static_cast<Sys_RawThreadPosix*>(iSelfP);
    selfP->mTid = pid_t(::syscall(SYS_gettid));
    Sys_MessageQueue::SetCurrent(selfP->GetMessageQueue());
    selfP->mTask->Run();
    Sys_MessageQueue::SetCurrent(nullptr);
    selfP->mEnded = true;
    return nullptr;
}
