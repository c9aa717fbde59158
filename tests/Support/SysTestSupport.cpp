#include "Support/SysTestSupport.h"

#include <exception>
#include <filesystem>

#include "Sys_File.h"

bool Exists(const std::string& iPath)
{
    return std::filesystem::exists(std::filesystem::symlink_status(iPath));
}

std::pair<int32_t, std::string> ThrownError(const std::function<void()>& iAction)
{
    try
    {
        iAction();
    }
    catch (const Sys_OSErrException& e)
    {
        return {e.GetData().GetError(), e.what()};
    }
    catch (const std::exception& e)
    {
        return {-1, e.what()};
    }
    return {0, ""};
}

// ---- fault injection -----------------------------------------------------------------------

namespace
{
std::atomic<int64_t> sWriteCount{0};
std::atomic<int64_t> sFailAt{0};
Sys_File::CreateMethod sPreviousCreate = nullptr;

void CountWrite(const Sys_FileLoc& iLoc)
{
    const int64_t n = ++sWriteCount;
    if (n == sFailAt.load())
        Sys_ThrowIfOSErr(EIO, "injected failure writing " + iLoc.GetFullPath());
}

class FailingFileImpl : public Sys_FileImpl
{
public:
    explicit FailingFileImpl(Sys_FileImpl* iImplP) : mImpl(iImplP) {}
    bool IsOpen() const override { return mImpl->IsOpen(); }
    bool IsOnline() const override { return mImpl->IsOnline(); }
    const Sys_FileLoc& GetFileLoc() const override { return mImpl->GetFileLoc(); }
    void Open(int32_t iFlags) override { mImpl->Open(iFlags); }
    void Close() override { mImpl->Close(); }
    void SetEOF(int64_t iEOF) override
    {
        CountWrite(GetFileLoc());
        mImpl->SetEOF(iEOF);
    }
    void SetPhysicalEOF(int64_t iEOF) override { mImpl->SetPhysicalEOF(iEOF); }
    int64_t GetEOF() const override { return mImpl->GetEOF(); }
    void SetPosition(Sys_File::EOffsetFrom iFrom, int64_t iOffset) override
    {
        mImpl->SetPosition(iFrom, iOffset);
    }
    int64_t GetPosition() const override { return mImpl->GetPosition(); }
    int64_t Read(void* oBufferP, int64_t iCount) override { return mImpl->Read(oBufferP, iCount); }
    int64_t Write(const void* iBufferP, int64_t iCount) override
    {
        CountWrite(GetFileLoc());
        return mImpl->Write(iBufferP, iCount);
    }
    void ReadAsync(Sys_AsyncFileIOParams* iParamsP) override { mImpl->ReadAsync(iParamsP); }
    void WriteAsync(Sys_AsyncFileIOParams* iParamsP) override { mImpl->WriteAsync(iParamsP); }
    bool IsReadOnly() const override { return mImpl->IsReadOnly(); }
    void SetReadOnly(bool iReadOnly) override { mImpl->SetReadOnly(iReadOnly); }

private:
    std::unique_ptr<Sys_FileImpl> mImpl;
};

Sys_FileImpl* CreateFailingFile(const Sys_FileLoc& iLoc)
{
    return new FailingFileImpl(sPreviousCreate(iLoc));
}
} // namespace

Test_FailingWrites::Test_FailingWrites(int64_t iFailAt)
{
    sWriteCount = 0;
    sFailAt = iFailAt;
    sPreviousCreate = Sys_File::SetCreateMethod(&CreateFailingFile);
}

Test_FailingWrites::~Test_FailingWrites()
{
    Sys_File::SetCreateMethod(sPreviousCreate);
    sFailAt = 0;
}

int64_t Test_FailingWrites::Count() const
{
    return sWriteCount.load();
}

bool Test_FailingWrites::Failed() const
{
    return sFailAt.load() != 0 && sWriteCount.load() >= sFailAt.load();
}
