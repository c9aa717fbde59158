#include "FF/FF_Chunk.h"

#include "Cmn_Assert.h"
#include "Sys_File.h"

namespace
{
// Puts the file back where it stood, also when the chunk's work throws.
class StRestorePosition
{
public:
    explicit StRestorePosition(Sys_File* iFileP) : mFileP(iFileP), mPosition(iFileP->GetPosition())
    {
    }
    ~StRestorePosition()
    {
        try
        {
            mFileP->SetPosition(Sys_File::eOffsetFrom_Start, mPosition);
        }
        catch (...)
        {
        }
    }
    StRestorePosition(const StRestorePosition&) = delete;
    StRestorePosition& operator=(const StRestorePosition&) = delete;

private:
    Sys_File* mFileP;
    int64_t mPosition;
};
} // namespace

bool FF_Chunk::Read(void* iUserDataP, Sys_File* iFileP)
{
    CMN_ASSERT(!mIsCached);
    StRestorePosition restore(iFileP);
    iFileP->SetPosition(Sys_File::eOffsetFrom_Start, mPosition + GetHeaderSize());
    mIsCached = ReadImpl(iUserDataP, iFileP);
    return mIsCached;
}

void FF_Chunk::Write(void* iUserDataP, Sys_File* iFileP)
{
    StRestorePosition restore(iFileP);
    iFileP->SetPosition(Sys_File::eOffsetFrom_Start, mPosition);
    WriteHeader(iUserDataP, iFileP);
    WriteImpl(iUserDataP, iFileP);
    mNeedsSync = false;
}

void FF_Chunk::SetPosition(void* iUserDataP, int64_t iPosition)
{
    mPosition = iPosition;
    SetPositionImpl(iUserDataP, iPosition);
}
