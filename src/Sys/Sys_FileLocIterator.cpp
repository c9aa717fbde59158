#include "Sys_FileLocIterator.h"

#include <atomic>
#include <chrono>

#include "Cmn_Assert.h"
#include "Sys_Platform.h"

namespace
{
std::atomic<Sys_FileLocIterator::TypesCreateMethod> sTypesCreate{nullptr};
std::atomic<Sys_FileLocIterator::PatternCreateMethod> sPatternCreate{nullptr};

void EnsureHooks()
{
    if (!sTypesCreate.load() || !sPatternCreate.load())
        Sys_SetPlatformDependentMethods();
}

int64_t NowMicroseconds()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

void Sys_FileLocIterator::SetCreateMethods(TypesCreateMethod iTypes, PatternCreateMethod iPattern)
{
    CMN_ASSERT(iTypes && iPattern);
    sTypesCreate = iTypes;
    sPatternCreate = iPattern;
}

Sys_FileLocIterator::Sys_FileLocIterator(const Sys_FileLoc& iFolder,
                                         const std::vector<Sys_FileType>& iTypes)
{
    EnsureHooks();
    mImpl.reset(sTypesCreate.load()(iFolder, iTypes));
    CMN_ASSERT(mImpl);
}

Sys_FileLocIterator::Sys_FileLocIterator(const Sys_FileLoc& iFolder, const std::string& iPattern)
{
    EnsureHooks();
    mImpl.reset(sPatternCreate.load()(iFolder, iPattern));
    CMN_ASSERT(mImpl);
}

bool Sys_FileLocIterator::Next(int64_t iTimeBudgetMicroseconds)
{
    const int64_t deadline =
        iTimeBudgetMicroseconds < 0 ? -1 : NowMicroseconds() + iTimeBudgetMicroseconds;
    return mImpl->Next(deadline);
}

const Sys_FileLoc& Sys_FileLocIterator::operator*() const
{
    CMN_ASSERT(mImpl->IsOnEntry());
    return mImpl->GetCurrent();
}

Sys_FileLocIterator& Sys_FileLocIterator::operator++()
{
    Next(cNoBudget);
    return *this;
}
