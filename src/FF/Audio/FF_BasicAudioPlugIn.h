// A plug-in whose samples are plain PCM bytes in one Sys_File.
//
// The Sys_File may be closed and opened again on demand while the front stays open:
// EnsureOpen (run by every sample operation) opens it by the front's open flag and puts the
// reader-writer back at frame 0. A subclass probes the file (IsValidFile), knows where the
// samples start (GetOffsetToPCMData) and makes room when the samples grow
// (HandleWriteExtend).
#pragma once

#include <cstdint>
#include <memory>

#include "Cmn_Store.h"
#include "FF/Audio/FF_AudioFilePlugIn.h"
#include "FF/Audio/FF_AudioSampleReaderWriter.h"
#include "Sys_File.h"

class FF_BasicAudioPlugIn : public FF_AudioFilePlugIn
{
public:
    // Sys_File open flags of ProbeFile and EnsureOpen.
    static constexpr int32_t cProbeForRead = 258;
    static constexpr int32_t cProbeForWrite = 259;
    static constexpr int32_t cOpenForRead = 274;
    static constexpr int32_t cOpenForWrite = 307;
    static constexpr int32_t cOpenCreate = 563;

    // Takes ownership of iFileP.
    FF_BasicAudioPlugIn(FF_AudioFile* iAudioFileP, Sys_File* iFileP);
    ~FF_BasicAudioPlugIn() override;

    void Open() override;
    void Close() override;
    void ReadAsync(FF_AsyncAudioFileIOParams* iParamsP) override;
    void WriteAsync(FF_AsyncAudioFileIOParams* iParamsP) override;
    bool Read(FF_AudioProperty::EID iID) const override;
    int64_t ReadSamples(void* oBufferP, int64_t iSamples) override;
    int64_t WriteSamples(void* iBufferP, int64_t iSamples) override;
    void SetPosition(int64_t iSampleOffset) override;
    int64_t GetPosition() override;

    virtual int32_t GetMacOSType() = 0;
    virtual int32_t GetMacOSCreator();
    virtual bool Attach(Cmn_Store::EOpenFlag iOpenFlag);
    virtual void CreateNewFileImpl() = 0;
    virtual bool ProbeFile(Cmn_Store::EOpenFlag iOpenFlag);
    virtual bool IsValidFile() { return true; }
    virtual FF_AudioSampleReaderWriter* CreateReaderWriter();
    virtual int64_t GetOffsetToPCMData(FF_AudioFile* iAudioFileP) = 0;
    virtual void EnsureOpen();
    virtual void HandleWriteExtend() {}

    Sys_File* GetSysFile() const { return mFile.get(); }

protected:
    std::unique_ptr<Sys_File> mFile;
    std::unique_ptr<FF_AudioSampleReaderWriter> mReaderWriter;
};
