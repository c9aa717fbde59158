#include "FF/OMF/OMF_Object.h"

#include "FF/OMF/OMF_Container.h"
#include "FF/OMF/OMF_Factory.h"
#include "FF/OMF/OMF_Utils.h"
#include "Sys_FileLoc.h"

OMF_File::OMF_File(const Sys_FileLoc& iLoc)
{
    OMF_Utils::ThrowIfErr(omfsOpenFile(iLoc, OMF_Utils::GetSession(), &mHdl), "In omfsOpenFile");
    Opened();
}

OMF_File::OMF_File(std::unique_ptr<OMF_ContainerSource> iSource)
{
    OMF_Utils::ThrowIfErr(omfsOpenSource(std::move(iSource), OMF_Utils::GetSession(), &mHdl), "In omfsOpenFile");
    Opened();
}

void OMF_File::Opened()
{
    try
    {
        OMF_Utils::ThrowIfErr(omfsFileGetRev(mHdl, &mRev), "In omfsFileGetRev", mHdl);
    }
    catch (...)
    {
        omfsCloseFile(mHdl);
        throw;
    }
}

OMF_File::~OMF_File()
{
    mObjects.clear();
    omfsCloseFile(mHdl);
}

OMF_Object* OMF_File::Create(omfObject_t iObject)
{
    if (iObject == 0)
        return nullptr;
    auto it = mObjects.find(iObject);
    if (it != mObjects.end())
        return it->second.get();
    // Something that is no object of the file (no class property) has no wrapper.
    if (!omfsIsPropPresent(mHdl, iObject, Is1x() ? OMObjID : OMOOBJObjClass, Is1x() ? OMObjectTag : OMClassID))
        return nullptr;
    OMF_Object* object = Is1x() ? OMF_Factory1x::Create(this, iObject) : OMF_Factory2x::Create(this, iObject);
    mObjects.emplace(iObject, std::unique_ptr<OMF_Object>(object));
    return object;
}

OMF_Object* OMF_File::GetHead()
{
    omfObject_t head = 0;
    OMF_Utils::ThrowIfErr(omfsGetHeadObject(mHdl, &head), "In omfsGetHeadObject", mHdl);
    return Create(head);
}

std::string OMF_Object::GetClassID() const
{
    omfClassID_t cls;
    if (omfsReadClassID(mFile->mHdl, mObj, mFile->Is1x() ? OMObjID : OMOOBJObjClass, &cls) != OM_ERR_NONE)
        return std::string();
    return cls.AsString();
}

int64_t OMF_DataProperty::GetLength() const
{
    int64_t length = -1;
    return omfsLengthDataValue(mFile->mHdl, mObj, mProperty, &length) == OM_ERR_NONE ? length : -1;
}

int64_t OMF_DataProperty::GetFileOffset() const
{
    int64_t offset = -1;
    return OMGetPropertyFileOffset(mFile->mHdl, mObj, mProperty, 0, OMDataValue, &offset) == OM_ERR_NONE ? offset
                                                                                                           : -1;
}

bool OMF_DataProperty::Read(int64_t iOffset, void* oData, int32_t iCount) const
{
    return OMReadProp(mFile->mHdl, mObj, mProperty, iOffset, false, OMDataValue, iCount, oData) == OM_ERR_NONE;
}
