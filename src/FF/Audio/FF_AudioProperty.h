// The typed, lazily read properties of an audio file.
//
// A property is tied to its file and to its id. Reading a value that is not cached asks the
// file (and through it the plug-in), which fills the cache with StoreFromSource. Setting a
// value marks it dirty and asks the plug-in to make room for it (a chunk to hold it); the
// value itself is written at the next Flush of the file, by whoever holds it on disk, which
// then clears the dirty mark.
//
// Contract: ReadProperty needs the file open with a plug-in (assertions "mAudioFile->IsOpen()"
// and "mAudioFile->mPlugIn"); Set needs it open for write. The thread that uses the file
// uses its properties.
#pragma once

#include <cstdint>

#include "Cmn_CacheableProperty.h"

class FF_AudioFile;

class FF_AudioProperty
{
public:
    enum EID : int32_t
    {
        eID_FormatName = 0,
        eID_ByteOrder = 1,
        eID_SampleRate = 2,
        eID_BitDepth = 3,
        eID_NumChannels = 4,
        eID_NumSamples = 5,
        eID_Umid = 6,
        eID_OriginalTimeStamp = 7,
        eID_UserTimeStamp = 8,
        eID_OffsetToData = 9,
        eID_Regions = 10,
        eID_PlugInData = 11,
        eID_ModificationTime = 12,
        eID_ModificationCount = 13,
        eID_Overview = 14,
        eID_InstrumentAttr = 15,
        eID_BroadcastWaveData = 16,
        eID_CreationTime = 17,
        eID_DRktAssetInfo = 18,
        eID_InterchangeFileName = 19,
        eID_TimeCodeFormat = 20,
        eID_Description = 21,
        eID_RegionName = 22
    };

    FF_AudioProperty(FF_AudioFile* iAudioFileP, EID iID) : mAudioFile(iAudioFileP), mID(iID) {}
    FF_AudioProperty(const FF_AudioProperty&) = delete;
    FF_AudioProperty& operator=(const FF_AudioProperty&) = delete;
    virtual ~FF_AudioProperty() = default;

    EID GetID() const { return mID; }

protected:
    void ReadPropertyImpl() const;
    void WritePropertyImpl();
    bool CanWritePropertyImpl() const;

    FF_AudioFile* mAudioFile;
    EID mID;
};

template <class T>
class FF_TypedAudioProperty : public Cmn_CacheableProperty<T>, public FF_AudioProperty
{
public:
    using Base = Cmn_CacheableProperty<T>;

    FF_TypedAudioProperty(FF_AudioFile* iAudioFileP, EID iID) : FF_AudioProperty(iAudioFileP, iID)
    {
    }

    // The plug-in may fill the cache from the file while it makes room for the value (so
    // that what else the chunk holds is kept); the value given still wins and stays dirty.
    void Set(const T& iValue) override
    {
        Base::Set(iValue);
        if (!this->IsDirty())
            Base::Set(iValue);
    }

    // Whether the plug-in can write this property.
    bool CanWrite() const { return CanWriteProperty(); }

    // The value, or iDefault when the file has none.
    T GetOr(const T& iDefault)
    {
        T value = iDefault;
        return this->Get(&value) ? value : iDefault;
    }

    // For a source filling the cache: only when the caller has not set a value of its own.
    void StoreFromSourceIfClean(const T& iValue) const
    {
        if (!this->IsDirty())
            this->StoreFromSourceConst(iValue);
    }

protected:
    void ReadProperty() const override { ReadPropertyImpl(); }
    void WriteProperty(const void*) override { WritePropertyImpl(); }
    bool CanWriteProperty() const override { return CanWritePropertyImpl(); }
};
