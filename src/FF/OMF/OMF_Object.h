// The OMF object layer: each OMF class as a typed class whose properties are members read
// lazily from the file and cached.
//
// An OMF_File owns the objects made for it: OMF_File::Create makes the wrapper of a file
// object once (through the factory of the file's generation) and hands out the same pointer
// afterwards, so references that meet again, or even form a cycle, never copy or recurse.
// The objects live as long as their file. One thread at a time per file.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Cmn_Assert.h"
#include "FF/OMF/OMF_Toolkit.h"

class Sys_FileLoc;
class OMF_ContainerSource;
class OMF_Object;

class OMF_File
{
public:
    // Opens for reading; throws the failures of OMF_Utils::ThrowIfErr ("In omfsOpenFile").
    explicit OMF_File(const Sys_FileLoc& iLoc);
    explicit OMF_File(std::unique_ptr<OMF_ContainerSource> iSource);
    ~OMF_File();
    OMF_File(const OMF_File&) = delete;
    OMF_File& operator=(const OMF_File&) = delete;

    omfFileRev_t GetRev() const { return mRev; }
    bool Is1x() const { return mRev == kOmfRev1x; }
    // The wrapper of a file object, made once; null for 0 and for what has no class property.
    OMF_Object* Create(omfObject_t iObject);
    OMF_Object* GetHead();

    omfHdl_t mHdl = nullptr;

private:
    void Opened();

    omfFileRev_t mRev = kOmfRev2x;
    std::map<omfObject_t, std::unique_ptr<OMF_Object>> mObjects;
};

// ---- properties ------------------------------------------------------------------------------
template <omfType_t code> class OMF_PropertyBase
{
public:
    OMF_PropertyBase(OMF_File* iFile, omfObject_t iObj, omfProperty_t iProperty)
        : mFile(iFile), mObj(iObj), mProperty(iProperty)
    {
    }
    bool IsPresent() const { return omfsIsPropPresent(mFile->mHdl, mObj, mProperty, code); }
    omfProperty_t GetProperty() const { return mProperty; }

protected:
    OMF_File* mFile;
    omfObject_t mObj;
    omfProperty_t mProperty;
};

// A value read on first access. Get asserts "mIsSet": test IsSet (or IsPresent) first.
template <omfType_t code, class T> class OMF_Property : public OMF_PropertyBase<code>
{
public:
    using OMF_PropertyBase<code>::OMF_PropertyBase;
    bool IsSet() const
    {
        Read();
        return mIsSet;
    }
    const T& Get() const
    {
        Read();
        CMN_ASSERT(mIsSet);
        return mValue;
    }
    T GetOr(const T& iDefault) const { return IsSet() ? mValue : iDefault; }

private:
    void Read() const
    {
        if (mWasRead)
            return;
        mWasRead = true;
        mIsSet = OMReadBaseProp(this->mFile->mHdl, this->mObj, this->mProperty, code, sizeof(T), &mValue) ==
                 OM_ERR_NONE;
    }
    mutable T mValue{};
    mutable bool mWasRead = false;
    mutable bool mIsSet = false;
};

// Texts (omfi:String, omfi:UniqueName): up to the terminator.
template <omfType_t code> class OMF_Property<code, std::string> : public OMF_PropertyBase<code>
{
public:
    using OMF_PropertyBase<code>::OMF_PropertyBase;
    bool IsSet() const
    {
        Read();
        return mIsSet;
    }
    const std::string& Get() const
    {
        Read();
        CMN_ASSERT(mIsSet);
        return mValue;
    }
    std::string GetOr(const std::string& iDefault) const { return IsSet() ? mValue : iDefault; }

private:
    void Read() const
    {
        if (mWasRead)
            return;
        mWasRead = true;
        mIsSet = omfsReadString(this->mFile->mHdl, this->mObj, this->mProperty, &mValue) == OM_ERR_NONE;
    }
    mutable std::string mValue;
    mutable bool mWasRead = false;
    mutable bool mIsSet = false;
};

// Raw data (omfi:DataValue): its length and where it lies in the file; the bytes on demand.
class OMF_DataProperty : public OMF_PropertyBase<OMDataValue>
{
public:
    using OMF_PropertyBase::OMF_PropertyBase;
    // -1 when absent.
    int64_t GetLength() const;
    // Where the data starts in the file; -1 when it is absent or not in one piece.
    int64_t GetFileOffset() const;
    // false when absent or shorter than iOffset + iCount.
    bool Read(int64_t iOffset, void* oData, int32_t iCount) const;
};

template <class T> class OMF_ObjRefProperty : public OMF_PropertyBase<OMObjRef>
{
public:
    using OMF_PropertyBase::OMF_PropertyBase;
    // The object referred to, made on first access; null when absent or of another class.
    T* Get() const
    {
        if (!mWasRead)
        {
            mWasRead = true;
            omfObject_t target = 0;
            if (omfsReadObjRef(mFile->mHdl, mObj, mProperty, &target) == OM_ERR_NONE)
                mValue = dynamic_cast<T*>(mFile->Create(target));
        }
        return mValue;
    }

private:
    mutable T* mValue = nullptr;
    mutable bool mWasRead = false;
};

template <class T> class OMF_ObjRefArrayProperty : public OMF_PropertyBase<OMObjRefArray>
{
public:
    using OMF_PropertyBase::OMF_PropertyBase;
    // The objects referred to, in order; those of another class, or unreadable, are skipped.
    const std::vector<T*>& Get() const
    {
        if (!mWasRead)
        {
            mWasRead = true;
            const int32_t count = omfsLengthObjRefArray(mFile->mHdl, mObj, mProperty);
            for (int32_t i = 1; i <= count; ++i)
            {
                omfObject_t target = 0;
                if (omfsGetNthObjRefArray(mFile->mHdl, mObj, mProperty, &target, i) == OM_ERR_NONE)
                    if (T* object = dynamic_cast<T*>(mFile->Create(target)))
                        mValue.push_back(object);
            }
        }
        return mValue;
    }

private:
    mutable std::vector<T*> mValue;
    mutable bool mWasRead = false;
};

// A 1.x mob index: identities and their mobs.
template <class T> class OMF_MobIndexProperty : public OMF_PropertyBase<OMMobIndex>
{
public:
    using OMF_PropertyBase::OMF_PropertyBase;
    const std::vector<std::pair<omfUID_t, T*>>& Get() const
    {
        if (!mWasRead)
        {
            mWasRead = true;
            const int32_t count = omfsLengthObjIndex(mFile->mHdl, mObj, mProperty);
            for (int32_t i = 1; i <= count; ++i)
            {
                omfObject_t target = 0;
                omfUID_t id;
                if (omfsGetNthObjIndex(mFile->mHdl, mObj, mProperty, &id, &target, i) == OM_ERR_NONE)
                    if (T* object = dynamic_cast<T*>(mFile->Create(target)))
                        mValue.emplace_back(id, object);
            }
        }
        return mValue;
    }

private:
    mutable std::vector<std::pair<omfUID_t, T*>> mValue;
    mutable bool mWasRead = false;
};

// ---- the root ------------------------------------------------------------------------------
class OMF_Object
{
public:
    OMF_Object(OMF_File* iFile, omfObject_t iObj) : mFile(iFile), mObj(iObj) {}
    virtual ~OMF_Object() = default;
    OMF_Object(const OMF_Object&) = delete;
    OMF_Object& operator=(const OMF_Object&) = delete;

    OMF_File* GetFile() const { return mFile; }
    omfObject_t GetObj() const { return mObj; }
    // The class the file stores ("" when unreadable), which may be a class without a wrapper.
    std::string GetClassID() const;

protected:
    OMF_File* mFile;
    omfObject_t mObj;
};
