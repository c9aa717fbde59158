#include "Iop/Iop_File.h"

Iop_FolderKey::Iop_FolderKey(const Sys_FileLoc& iFolder) : mPath(iFolder.GetFullPath()) {}

bool Iop_FolderKey::operator<(const Iop_FolderKey& iOther) const
{
    return mPath < iOther.mPath;
}

std::string Iop_File::GetPrimaryMobName()
{
    return std::string();
}

Iop_File::EMobType Iop_File::GetPrimaryMobType()
{
    return eMobType_Unknown;
}

Iop_File::EAppCode Iop_File::GetPrimaryMobAppCode()
{
    return eAppCode_None;
}

omfUID_t Iop_File::GetPrimaryMobID()
{
    return omfUID_t();
}

std::string Iop_File::GetPrimaryMobTapeID()
{
    return std::string();
}

std::string Iop_File::GetPrimaryMobUrn()
{
    return std::string();
}

bool Iop_File::GetSourceFileLoc(const Sys_Umid&, Sys_FileLoc*, int64_t*, int64_t*)
{
    return false;
}

bool Iop_File::GetAudioFileInfo(const Sys_Umid&, EAudioFileType*, signed char*)
{
    return false;
}

void Iop_File::AddMobInfoRecorder(Iop_MobInfoRecorder*) {}

void Iop_File::RemoveMobInfoRecorder(Iop_MobInfoRecorder*) {}
