// What a format gives the audio file front.
//
// A plug-in is made by the front when it opens a file (a static Create of the plug-in that
// returns null when the file is not of its format, or CreateNew for a new file) and lives
// until the front dies. mAudioFile is the front (not owned). Sample counts and positions are
// frames. Called on the thread that uses the front.
#pragma once

#include <cstdint>

#include "FF/Audio/FF_AudioProperty.h"
#include "FF/Audio/FF_AudioTypes.h"

class FF_AudioFile;
class FF_AsyncAudioFileIOParams;

class FF_AudioFilePlugIn
{
public:
    explicit FF_AudioFilePlugIn(FF_AudioFile* iAudioFileP) : mAudioFile(iAudioFileP) {}
    FF_AudioFilePlugIn(const FF_AudioFilePlugIn&) = delete;
    FF_AudioFilePlugIn& operator=(const FF_AudioFilePlugIn&) = delete;
    virtual ~FF_AudioFilePlugIn() = default;

    virtual EAudioFileType GetAudioFileType() = 0;
    virtual void Open() = 0;
    virtual void Close() = 0;
    virtual void Flush() {}
    // Default: synchronous; positions, reads, stores the count and signals the event.
    virtual void ReadAsync(FF_AsyncAudioFileIOParams* iParamsP);
    virtual void WriteAsync(FF_AsyncAudioFileIOParams* iParamsP);
    // Fills the property iID from the file; false when the file cannot tell.
    virtual bool Read(FF_AudioProperty::EID iID) const { return false; }
    virtual int64_t ReadSamples(void* oBufferP, int64_t iSamples) = 0;
    // Makes sure the file will have a place for property iID at the next flush.
    virtual void Write(FF_AudioProperty::EID iID) {}
    virtual int64_t WriteSamples(void* iBufferP, int64_t iSamples) = 0;
    virtual void SetPosition(int64_t iSample) = 0;
    virtual int64_t GetPosition() = 0;
    virtual bool CanWrite(FF_AudioProperty::EID iID) const { return false; }
    virtual bool IsDataOffsetBinary() { return false; }
    virtual bool IsOMFI() { return false; }
    virtual bool CanDestructiveRecord() const { return false; }

    FF_AudioFile* GetAudioFile() const { return mAudioFile; }

protected:
    FF_AudioFile* mAudioFile;
};
