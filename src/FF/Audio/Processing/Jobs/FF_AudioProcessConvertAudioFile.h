// The chain of a file conversion: an FF_AudioProcessChain that also knows the files it
// makes.
//
// The destination files are held (counted handles) from SetDstFiles until the run ends:
// the driver's last step lets them go, on the thread that drives the chain, so that a chain
// released on a worker never touches the files' single-threaded counts there. Their
// locations stay for the chain's lifetime. Not copyable.
#pragma once

#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessChain.h"
#include "Sys_FileLoc.h"

class FF_AudioProcessConvertAudioFile : public FF_AudioProcessChain
{
public:
    using ConvertHandle = Cmn_PolymorphicHandle<FF_AudioProcessConvertAudioFile>;

    FF_AudioProcessConvertAudioFile();
    ~FF_AudioProcessConvertAudioFile() override;

    // Before the chain is run.
    void SetDstFiles(const std::vector<FF_AudioFileRef>& iFiles);
    // Empty once the run has ended.
    const std::vector<FF_AudioFileRef>& GetDstFiles() const { return mDstFiles; }
    const std::vector<Sys_FileLoc>& GetDstFileLocs() const { return mDstFileLocs; }

    // The class names of the stages, head first (before the run, or after it).
    std::vector<std::string> GetStageNames() const;
    static std::vector<std::string> GetStageNames(const FF_AudioProcessChain& iChain);

protected:
    EResult ExecImpl() override;

private:
    std::vector<FF_AudioFileRef> mDstFiles;
    std::vector<Sys_FileLoc> mDstFileLocs;
};
