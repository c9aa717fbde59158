#include "FF/Audio/Processing/Jobs/FF_AudioProcessConvertAudioFile.h"

FF_AudioProcessConvertAudioFile::FF_AudioProcessConvertAudioFile() = default;

FF_AudioProcessConvertAudioFile::~FF_AudioProcessConvertAudioFile() = default;

void FF_AudioProcessConvertAudioFile::SetDstFiles(const std::vector<FF_AudioFileRef>& iFiles)
{
    mDstFiles = iFiles;
    mDstFileLocs.clear();
    for (const FF_AudioFileRef& file : iFiles)
        mDstFileLocs.push_back(file->GetFileLoc());
}

std::vector<std::string> FF_AudioProcessConvertAudioFile::GetStageNames() const
{
    return GetStageNames(*this);
}

std::vector<std::string>
FF_AudioProcessConvertAudioFile::GetStageNames(const FF_AudioProcessChain& iChain)
{
    std::vector<std::string> names;
    for (FF_AudioProcess* stageP = iChain.GetProducer().Get(); stageP;
         stageP = stageP->GetNextProcess().Get())
        names.push_back(stageP->GetName());
    return names;
}

Sys_Task::EResult FF_AudioProcessConvertAudioFile::ExecImpl()
{
    EResult result = eResult_Block;
    try
    {
        result = FF_AudioProcessChain::ExecImpl();
    }
    catch (...)
    {
        mDstFiles.clear();
        throw;
    }
    if (result == eResult_Done || result == eResult_Aborted)
        mDstFiles.clear();
    return result;
}
