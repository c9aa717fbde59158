// What the application learns of the media objects (mobs) of an interchange file while it is
// read. Iop_MobInfo stores nothing itself: the application derives from it. A recorder makes
// and keeps them; Iop_StRecordMobInfo brackets one recording. Single thread.
#pragma once

#include <cstdint>
#include <string>

#include "Iop/Iop_Types.h"

class Iop_MobInfo
{
public:
    virtual ~Iop_MobInfo() = default;
    virtual void SetID(const omfUID_t& iID) {}
    virtual omfUID_t GetID() const { return omfUID_t(); }
    virtual void SetType(int32_t iType) {}
    virtual int32_t GetType() const { return 0; }
    virtual void SetName(const std::string& iName) {}
    virtual std::string GetName() const { return std::string(); }
    virtual void SetAudioOnly(bool iAudioOnly) {}
    virtual void SetOnline(bool iOnline) {}
    virtual void AddUserAttrib(const std::string& iName, const std::string& iValue) {}
    virtual void AddSysAttrib(const std::string& iName, const std::string& iValue) {}
    virtual void AddOmfFile(const std::string& iName, int64_t iOffset = 0, int64_t iLength = 0) {}
    virtual void AddLocator(int32_t iType, const std::string& iPath) {}
    // The recorder owns iDependent; the base ignores it.
    virtual void AddDependent(Iop_MobInfo* iDependent) {}
};

class Iop_MobInfoRecorder
{
public:
    virtual ~Iop_MobInfoRecorder() = default;
    virtual void BeginRecordingMobs() {}
    // A new, empty record owned by the recorder.
    virtual Iop_MobInfo* CreateMobInfo() = 0;
    virtual void RecordMobInfo(Iop_MobInfo* iInfo) = 0;
    virtual void EndRecordingMobs() {}
    // The record of a mob, or null.
    virtual Iop_MobInfo* GetMobInfo(const omfUID_t& iID) { return nullptr; }
};

// Records nothing: CreateMobInfo hands out one plain record that it keeps for reuse.
class Iop_MobInfoRecorderStub : public Iop_MobInfoRecorder
{
public:
    Iop_MobInfo* CreateMobInfo() override { return &mInfo; }
    void RecordMobInfo(Iop_MobInfo* iInfo) override {}

private:
    Iop_MobInfo mInfo;
};

// BeginRecordingMobs now, EndRecordingMobs on the way out. Not copyable.
class Iop_StRecordMobInfo
{
public:
    explicit Iop_StRecordMobInfo(Iop_MobInfoRecorder* iRecorder) : mRecorder(iRecorder)
    {
        if (mRecorder)
            mRecorder->BeginRecordingMobs();
    }
    ~Iop_StRecordMobInfo()
    {
        if (mRecorder)
            mRecorder->EndRecordingMobs();
    }
    Iop_StRecordMobInfo(const Iop_StRecordMobInfo&) = delete;
    Iop_StRecordMobInfo& operator=(const Iop_StRecordMobInfo&) = delete;

private:
    Iop_MobInfoRecorder* mRecorder;
};
