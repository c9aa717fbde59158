#include "FF/OMF/OMF_Factory.h"

#include "Cmn_Assert.h"
#include "FF/OMF/OMF_Classes2x.h"
#include "FF/OMF/OMF_Utils.h"

std::map<std::string, FactoryMethod1x*> OMF_Factory1x::sFactoryMethods1x;
std::map<std::string, FactoryMethod2x*> OMF_Factory2x::sFactoryMethods2x;

#define OMF_ADD1X(ID) sFactoryMethods1x[#ID] = new TypedFactoryMethod1x<OMF_##ID##1x>;
#define OMF_ADD2X(ID) sFactoryMethods2x[#ID] = new TypedFactoryMethod2x<OMF_##ID##2x>;

void OMF_Factory1x::Initialize()
{
    CMN_ASSERT(sFactoryMethods1x.empty());
    OMF_ADD1X(OOBJ) OMF_ADD1X(CLSD) OMF_ADD1X(CPNT) OMF_ADD1X(ATTB) OMF_ADD1X(MSML) OMF_ADD1X(TXTL)
    OMF_ADD1X(DOSL) OMF_ADD1X(MACL) OMF_ADD1X(UNXL) OMF_ADD1X(MDAT) OMF_ADD1X(TRAK) OMF_ADD1X(MDES)
    OMF_ADD1X(ATTR) OMF_ADD1X(HEAD) OMF_ADD1X(CLIP) OMF_ADD1X(TRKG) OMF_ADD1X(SEQU) OMF_ADD1X(SCLP)
    OMF_ADD1X(FILL) OMF_ADD1X(TCCP) OMF_ADD1X(ECCP) OMF_ADD1X(TRKR) OMF_ADD1X(ATCP) OMF_ADD1X(WARP)
    OMF_ADD1X(SLCT) OMF_ADD1X(TRAN) OMF_ADD1X(MOBJ) OMF_ADD1X(SPED) OMF_ADD1X(REPT) OMF_ADD1X(MASK)
    OMF_ADD1X(IDAT) OMF_ADD1X(AIFC) OMF_ADD1X(TIFF) OMF_ADD1X(WAVE) OMF_ADD1X(QS2M) OMF_ADD1X(JPEG)
    OMF_ADD1X(MPEG) OMF_ADD1X(MDTP) OMF_ADD1X(GMFL) OMF_ADD1X(MDFL) OMF_ADD1X(QS2D) OMF_ADD1X(AIFD)
    OMF_ADD1X(TIFD) OMF_ADD1X(WAVD) OMF_ADD1X(DIDD) OMF_ADD1X(CDCI) OMF_ADD1X(JPED)
}

void OMF_Factory2x::Initialize()
{
    CMN_ASSERT(sFactoryMethods2x.empty());
    OMF_ADD2X(OOBJ) OMF_ADD2X(ATTB) OMF_ADD2X(CLSD) OMF_ADD2X(DDEF) OMF_ADD2X(EDEF) OMF_ADD2X(IDNT)
    OMF_ADD2X(MDAT) OMF_ADD2X(TRKD) OMF_ADD2X(LOCR) OMF_ADD2X(CTLP) OMF_ADD2X(CPNT) OMF_ADD2X(ESLT)
    OMF_ADD2X(MSLT) OMF_ADD2X(ATTR) OMF_ADD2X(MDES) OMF_ADD2X(MOBJ) OMF_ADD2X(HEAD) OMF_ADD2X(SEGM)
    OMF_ADD2X(TRAN) OMF_ADD2X(SCLP) OMF_ADD2X(ECCP) OMF_ADD2X(FILL) OMF_ADD2X(CVAL) OMF_ADD2X(SREF)
    OMF_ADD2X(TCCP) OMF_ADD2X(ERAT) OMF_ADD2X(PDWN) OMF_ADD2X(EFFE) OMF_ADD2X(MGRP) OMF_ADD2X(SLCT)
    OMF_ADD2X(SEQU) OMF_ADD2X(VVAL) OMF_ADD2X(NEST) OMF_ADD2X(WAVE) OMF_ADD2X(TIFF) OMF_ADD2X(IDAT)
    OMF_ADD2X(AIFC) OMF_ADD2X(JPEG) OMF_ADD2X(MDFL) OMF_ADD2X(MDFM) OMF_ADD2X(MDTP) OMF_ADD2X(GMFL)
    OMF_ADD2X(WAVD) OMF_ADD2X(AIFD) OMF_ADD2X(QS2D) OMF_ADD2X(DIDD) OMF_ADD2X(TIFD) OMF_ADD2X(CDCI)
    OMF_ADD2X(RGBA) OMF_ADD2X(TXTL) OMF_ADD2X(NETL) OMF_ADD2X(DOSL) OMF_ADD2X(MACL) OMF_ADD2X(UNXL)
    OMF_ADD2X(WINL) OMF_ADD2X(CMOB) OMF_ADD2X(MMOB) OMF_ADD2X(SMOB)
}

void OMF_Factory1x::Free()
{
    for (auto& [id, method] : sFactoryMethods1x)
        delete method;
    sFactoryMethods1x.clear();
}

void OMF_Factory2x::Free()
{
    for (auto& [id, method] : sFactoryMethods2x)
        delete method;
    sFactoryMethods2x.clear();
}

namespace
{
// The class id of the object, then up the tree to the first id with a factory method. The
// walk is bounded: a class dictionary whose parents loop never ends in a found entry.
template <class Map>
typename Map::const_iterator FindMethod(const Map& iMethods, OMF_File* iFile, omfObject_t iObj, omfProperty_t iProp)
{
    omfClassID_t cls;
    OMF_Utils::ThrowIfErr(omfsReadClassID(iFile->mHdl, iObj, iProp, &cls), "In omfsReadClassID", iFile->mHdl);
    auto iter = iMethods.find(cls.AsString());
    for (int depth = 0; iter == iMethods.end() && depth < 64; ++depth)
    {
        omfClassID_t super;
        omfBool found = false;
        if (omfsClassFindSuperClass(iFile->mHdl, cls.id, &super, &found) != OM_ERR_NONE || !found)
            break;
        cls = super;
        iter = iMethods.find(cls.AsString());
    }
    return iter;
}
} // namespace

OMF_Object* OMF_Factory1x::Create(OMF_File* iFile, omfObject_t iObj)
{
    CMN_ASSERT_TEXT(omfsIsPropPresent(iFile->mHdl, iObj, OMObjID, OMObjectTag),
                    "omfsIsPropPresent( iFile->mHdl, iObj, OMObjID, OMObjectTag )");
    auto iter = FindMethod(sFactoryMethods1x, iFile, iObj, OMObjID);
    CMN_ASSERT(iter != sFactoryMethods1x.end());
    return iter->second->Create(iFile, iObj);
}

OMF_Object* OMF_Factory2x::Create(OMF_File* iFile, omfObject_t iObj)
{
    CMN_ASSERT_TEXT(omfsIsPropPresent(iFile->mHdl, iObj, OMOOBJObjClass, OMClassID),
                    "omfsIsPropPresent( iFile->mHdl, iObj, OMOOBJObjClass, OMClassID )");
    auto iter = FindMethod(sFactoryMethods2x, iFile, iObj, OMOOBJObjClass);
    CMN_ASSERT(iter != sFactoryMethods2x.end());
    return iter->second->Create(iFile, iObj);
}
