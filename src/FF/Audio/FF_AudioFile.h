// The audio file front: one class through which every format is read and written.
//
// Design:
//  1. An FF_AudioFile is a Cmn_Store. Opening chooses a plug-in once (OpenImpl): a new file
//     gets the plug-in of its type; an existing one is offered to the plug-ins of the named
//     type, of the file's system type, then of the candidate list, in that order, until one
//     accepts it. The plug-in lives until the file dies; reopening reuses it.
//  2. No plug-in is no failure: mPlugIn stays null, GetAudioFileType() stays
//     eAudioFileType_Unknown and every sample or property operation fails the assertion
//     "mPlugIn" (or "mAudioFile->mPlugIn").
//  3. Properties are read lazily from the plug-in and cached; a set property is dirty until
//     Flush writes it. Closing does not flush.
//  4. Samples are sample frames (one sample of every channel); positions are signed 64-bit
//     frame counts from the first sample. The front converts byte order and 8-bit offset
//     binary in place in the caller's buffer; with mayDestroyBuffer false a write puts the
//     caller's bytes back afterwards.
//  5. A write that ends past mNumSamples raises it; reads stop at mNumSamples (a read there or
//     past it returns 0).
//  6. The front knows no format by name: the registered file types, names, byte orders,
//     embedded overviews, the default recognition list and the plug-ins' entry points are the
//     rows of FF_AudioFileFormat (FF_AudioFileFormat.h), defined with the plug-ins in
//     src/FF/Audio/PlugIns/FF_AudioFileFormats.cpp. Adding a format is the plug-in's own
//     files and its row there; this file and FF_AudioFile.cpp do not change.
//
// Ownership: the file owns its plug-in and its cached values; callers hold the file through
// Cmn_AliasedRefCountPtr<FF_AudioFile>. Threads: one thread at a time uses a file (Lock and
// Unlock serialise callers that share one); asynchronous requests complete on the thread
// that issued them, during an alertable wait.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "Cmn_Store.h"
#include "FF/Audio/FF_AudioProperty.h"
#include "FF/Audio/FF_AudioTypes.h"
#include "Sys_FileLoc.h"
#include "Sys_FileType.h"
#include "Sys_Umid.h"
#include "Time/Time_SMPTE.h"

class FF_AudioFilePlugIn;
class FF_AsyncAudioFileIOParams;
class Sys_AsyncFileIOParams;

class FF_AudioFile : public Cmn_Store
{
public:
    // A value summary of the main properties.
    struct Properties
    {
        EAudioFileType mAudioFileType = eAudioFileType_Unknown;
        std::string mFormatName;
        EByteOrder mByteOrder = eByteOrder_Little;
        int32_t mSampleRate = 0;
        int16_t mBitDepth = 0;
        int16_t mBytesPerSample = 0;
        int16_t mNumChannels = 0;
        int64_t mNumSamples = 0;
    };

    // A named range of the file's samples, [mStartSample, mStopSample).
    struct Region
    {
        Region() = default;
        Region(const std::string& iName, int64_t iStartSample, int64_t iStopSample, int64_t iLength,
               int64_t iOriginalTimeStamp, int64_t iUserTimeStamp, const Sys_Umid& iUmid,
               bool iIsWholeFile)
            : mName(iName), mStartSample(iStartSample), mStopSample(iStopSample), mLength(iLength),
              mOriginalTimeStamp(iOriginalTimeStamp), mUserTimeStamp(iUserTimeStamp), mUmid(iUmid),
              mIsWholeFile(iIsWholeFile)
        {
        }
        bool operator==(const Region& iOther) const
        {
            return mName == iOther.mName && mStartSample == iOther.mStartSample &&
                   mStopSample == iOther.mStopSample && mLength == iOther.mLength &&
                   mOriginalTimeStamp == iOther.mOriginalTimeStamp &&
                   mUserTimeStamp == iOther.mUserTimeStamp && mUmid == iOther.mUmid &&
                   mIsWholeFile == iOther.mIsWholeFile;
        }
        bool operator!=(const Region& iOther) const { return !(*this == iOther); }

        std::string mName;
        int64_t mStartSample = 0;
        int64_t mStopSample = 0;
        int64_t mLength = 0;
        int64_t mOriginalTimeStamp = 0;
        int64_t mUserTimeStamp = 0;
        Sys_Umid mUmid;
        bool mIsWholeFile = false;
    };
    using RegionList = std::list<Region>;

    struct BroadcastWaveData
    {
        std::string mOriginator;
        bool operator==(const BroadcastWaveData&) const = default;
    };
    struct DRktAssetInfo
    {
        uint32_t mValue = 0;
        bool operator==(const DRktAssetInfo&) const = default;
    };

    // What an interchange file tells of the audio it holds (see SetOMFInfoMethod).
    struct OMFInfo
    {
        Sys_Umid mUmid;
        std::string mInterchangeFileName;
        int64_t mOriginalTimeStamp = 0;
        std::string mRegionName;
        bool mHasTimeCodeFormat = false;
        ETimeCodeFormat mTimeCodeFormat = eTimeCodeFormat_Global;
    };
    using OMFInfoMethod = bool (*)(const Sys_FileLoc& iLoc, int32_t iSampleRate, OMFInfo* oInfoP);

    // An existing file. iEmbeddedOffset: where the audio file starts inside a larger file (0
    // for a plain file). iCandidatesP: the types to try, null for the default list.
    explicit FF_AudioFile(const Sys_FileLoc& iLoc, int64_t iEmbeddedOffset = 0,
                          const std::list<EAudioFileType>* iCandidatesP = nullptr);
    // A new file, made by Open(eOpenFlag_OpenCreate). The time stamp goes to both time stamps.
    FF_AudioFile(EAudioFileType iType, const Sys_FileLoc& iLoc, int16_t iNumChannels,
                 int16_t iBitDepth, int32_t iSampleRate, int64_t iTimeStamp, int64_t iNumSamples,
                 std::vector<char> iPlugInData = {});
    ~FF_AudioFile() override;

    // Opens the file for reading when it is closed, and closes it again on the way out when
    // it was opened here (a file already open is left as it is).
    class StOpenForRead
    {
    public:
        explicit StOpenForRead(FF_AudioFile& iFile) : mFile(iFile), mOpened(!iFile.IsOpen())
        {
            if (mOpened)
                mFile.Open(eOpenFlag_OpenForRead);
        }
        ~StOpenForRead()
        {
            if (mOpened && mFile.IsOpen())
                mFile.Close();
        }
        StOpenForRead(const StOpenForRead&) = delete;
        StOpenForRead& operator=(const StOpenForRead&) = delete;

    private:
        FF_AudioFile& mFile;
        const bool mOpened;
    };

    // ---- samples -------------------------------------------------------------------------
    // Reads up to iSamples frames at the position into iBufferP in byte order iOrder;
    // returns the frames read (fewer at the end of the samples).
    int64_t Read(void* iBufferP, int64_t iSamples, EByteOrder iOrder = eByteOrder_Native);
    // Writes iSamples frames at the position; the buffer is converted in place and, unless
    // iMayDestroyBuffer, restored afterwards (also when the write throws).
    int64_t Write(void* iBufferP, int64_t iSamples, EByteOrder iOrder = eByteOrder_Native,
                  bool iMayDestroyBuffer = false);
    void ReadAsync(FF_AsyncAudioFileIOParams* iParamsP, EByteOrder iOrder = eByteOrder_Native);
    void WriteAsync(FF_AsyncAudioFileIOParams* iParamsP, EByteOrder iOrder = eByteOrder_Native,
                    bool iMayDestroyBuffer = false);
    void SetPosition(int64_t iSample);
    int64_t GetPosition();
    // Writes the changed properties (and the headers that depend on the sample count).
    void Flush() override;

    // ---- regions -------------------------------------------------------------------------
    // The valid stored regions, the whole-file region first (made when none is stored).
    void GetRegions(RegionList* oRegionsP);
    // Asserts "iRegion.mStopSample <= mNumSamples.Get()". A whole-file region replaces the
    // stored one; a region equal to one stored is not added twice.
    void AddRegion(const Region& iRegion);
    // Removes the first region with that identity; false when there is none.
    bool RemoveRegion(const Sys_Umid& iUmid);
    Region GetWholeFileRegion();

    // ---- about the file ------------------------------------------------------------------
    Properties GetProperties();
    const Sys_FileLoc& GetFileLoc() const { return mFileLoc; }
    EAudioFileType GetAudioFileType() const { return mAudioFileType; }
    bool IsOMFI();
    bool IsReadOnly();
    bool CanDestructiveRecord();
    bool IsOnline() const;
    int64_t GetEmbeddedOffset() const { return mEmbeddedOffset; }
    int64_t GetEmbeddedLength() const { return mEmbeddedLength; }
    void SetEmbeddedLength(int64_t iLength) { mEmbeddedLength = iLength; }
    FF_AudioFilePlugIn* GetPlugIn() const { return mPlugIn.get(); }
    const std::string& GetComment() const { return mComment; }
    void SetComment(const std::string& iComment) { mComment = iComment; }

    static void Lock();
    static void Unlock();

    // Fills a property from its source (the OMF information or the plug-in).
    void ReadProperty(FF_AudioProperty::EID iID);

    // ---- the table of types --------------------------------------------------------------
    static void RegisterTypes();
    // The default recognition list: AIFC, AIFF, WAVE, QSII, QSI, MP3, MXF, WMF, M4A.
    static void GetTypesSupportedForRead(std::list<EAudioFileType>* oTypesP);
    // Fails the assertion "false": the writable types are not asked this way.
    static void GetTypesSupportedForWrite(std::list<EAudioFileType>* oTypesP);
    static bool AudioFileTypeSupportsEmbeddedOverviews(EAudioFileType iType);
    static Sys_FileType FileTypeFromAudioFileType(EAudioFileType iType);
    static EByteOrder ByteOrderFromAudioFileType(EAudioFileType iType);
    // The name of a type in the message table ("BWF (.WAV)"), "" for one without a name.
    static std::string GetAudioFileTypeName(EAudioFileType iType);

    // The reader of interchange (OMF) information; none is installed by default, and then a
    // file that claims to be one is treated as plain.
    static OMFInfoMethod SetOMFInfoMethod(OMFInfoMethod iMethod);

    // ---- properties, in this order -------------------------------------------------------
    FF_TypedAudioProperty<std::string> mFormatName;
    FF_TypedAudioProperty<EByteOrder> mByteOrder;
    FF_TypedAudioProperty<int32_t> mSampleRate;
    FF_TypedAudioProperty<int16_t> mBitDepth;
    FF_TypedAudioProperty<int16_t> mNumChannels;
    FF_TypedAudioProperty<int64_t> mOriginalTimeStamp;
    FF_TypedAudioProperty<int64_t> mUserTimeStamp;
    FF_TypedAudioProperty<int64_t> mNumSamples;
    FF_TypedAudioProperty<Sys_Umid> mUmid;
    FF_TypedAudioProperty<int64_t> mOffsetToData;
    FF_TypedAudioProperty<RegionList> mRegions;
    FF_TypedAudioProperty<std::vector<char>> mPlugInData;
    FF_TypedAudioProperty<uint64_t> mModificationTime;
    FF_TypedAudioProperty<int64_t> mModificationCount;
    FF_TypedAudioProperty<FF_AudioInstrumentAttr> mInstrumentAttr;
    FF_TypedAudioProperty<BroadcastWaveData> mBroadcastWaveData;
    FF_TypedAudioProperty<int64_t> mCreationTime;
    FF_TypedAudioProperty<DRktAssetInfo> mDRktAssetInfo;
    FF_TypedAudioProperty<FF_AudioOverviewData> mOverview;
    FF_TypedAudioProperty<std::string> mInterchangeFileName;
    FF_TypedAudioProperty<ETimeCodeFormat> mTimeCodeFormat;
    FF_TypedAudioProperty<std::string> mDescription;
    FF_TypedAudioProperty<std::string> mRegionName;

    bool mAlignFor4K = false;
    bool mAlignForVolume = false;

    // Converts n frames of a buffer between the file's order and iOrder, and flips 8-bit
    // offset binary, in place (the conversion is its own inverse).
    void SwapSamples(void* ioBufferP, int64_t iSamples, EByteOrder iOrder);

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;

private:
    friend class FF_AudioProperty;
    friend class FF_AsyncAudioFileIOParams;

    // The plug-in that accepts the file as iType, or null.
    FF_AudioFilePlugIn* TryPlugIn(EAudioFileType iType);
    void AssertPlugIn() const;
    int64_t FrameSize();

    std::string mComment;
    int64_t mEmbeddedOffset = 0;
    int64_t mEmbeddedLength = -1;
    std::unique_ptr<FF_AudioFilePlugIn> mPlugIn;
    EAudioFileType mAudioFileType = eAudioFileType_Unknown;
    Sys_FileLoc mFileLoc;
    std::list<EAudioFileType> mCandidates;
    uint8_t mIsOMFI = 255;
    bool mOMFInfoTaken = false;

    static std::vector<Sys_FileType> mRecognizedAudioFileTypes;
    static std::map<Sys_FileType, EAudioFileType> mRecognizedSystemFileTypes;
};

// Counting for Cmn_AliasedRefCountPtr where FF_AudioFile is only declared.
struct FF_AudioFile_ForwardDeclarationHack
{
    static void AddReference(FF_AudioFile* iP);
    static void RemoveReference(FF_AudioFile* iP);
};
using FF_AudioFileRef =
    Cmn_AliasedRefCountPtr<FF_AudioFile, FF_AudioFile*, FF_AudioFile_ForwardDeclarationHack>;
