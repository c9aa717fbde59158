#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"

#include <cstring>
#include <mutex>

#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"

FF_AudioOverview FF_AudioOverviewMgr::Allocate(int64_t iNumSamples)
{
    CMN_ASSERT(iNumSamples >= 0 && iNumSamples <= cMaxNumSamples);
    return AllocateBytes(int32_t(FF_AudioOverview::GetPayloadSize(iNumSamples)));
}

FF_AudioOverview FF_AudioOverviewMgr::Allocate(FF_AudioFile* iAudioFileP)
{
    CMN_ASSERT(iAudioFileP);
    const bool opened = !iAudioFileP->IsOpen();
    if (opened)
        iAudioFileP->Open(Cmn_Store::eOpenFlag_OpenForRead);
    int64_t numSamples = 0;
    try
    {
        numSamples = iAudioFileP->mNumSamples.GetOr(0);
    }
    catch (...)
    {
        if (opened)
            iAudioFileP->Close();
        throw;
    }
    if (opened)
        iAudioFileP->Close();
    return Allocate(numSamples);
}

FF_AudioOverview FF_AudioOverviewMgr::AllocateBytes(int32_t iSize)
{
    CMN_ASSERT(iSize >= 0);
    return FF_AudioOverview(new FF_AudioOverviewStore(iSize));
}

int64_t FF_AudioOverviewMgr::Purge(int32_t iLimit)
{
    std::lock_guard<std::recursive_mutex> lock(FF_AudioOverviewStore::GetMutex());
    int64_t freed = 0;
    for (FF_AudioOverviewStore* storeP = FF_AudioOverviewStore::GetFirst(); storeP;
         storeP = storeP->GetNext())
    {
        freed += storeP->Purge();
        if (iLimit != -1 && freed > iLimit)
            break;
    }
    return freed;
}

int64_t FF_AudioOverviewMgr::GetBytesHeld()
{
    std::lock_guard<std::recursive_mutex> lock(FF_AudioOverviewStore::GetMutex());
    int64_t held = 0;
    for (FF_AudioOverviewStore* storeP = FF_AudioOverviewStore::GetFirst(); storeP;
         storeP = storeP->GetNext())
        if (storeP->GetBuffer())
            held += storeP->GetSize();
    return held;
}

bool FF_AudioOverviewMgr::GetEmbeddedOverview(FF_AudioFile& iFile, FF_AudioOverview* oOverviewP)
{
    CMN_ASSERT(oOverviewP);
    const FF_AudioOverviewData bytes = iFile.mOverview.GetOr({});
    const int64_t size = FF_AudioOverview::GetPayloadSize(iFile.mNumSamples.GetOr(0));
    if (bytes.empty() || int64_t(bytes.size()) != size)
        return false;
    FF_AudioOverview overview = AllocateBytes(int32_t(size));
    std::memcpy(overview.GetBuffer(), bytes.data(), bytes.size());
    *oOverviewP = overview;
    return true;
}

void FF_AudioOverviewMgr::SetEmbeddedOverview(FF_AudioFile& iFile,
                                              const FF_AudioOverview& iOverview)
{
    CMN_ASSERT(iOverview.HasBytes());
    const int8_t* bytesP = iOverview.GetBuffer();
    iFile.mOverview.Set(FF_AudioOverviewData(bytesP, bytesP + iOverview.GetSize()));
}
