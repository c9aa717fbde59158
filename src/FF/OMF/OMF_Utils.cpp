#include "FF/OMF/OMF_Utils.h"

#include "Cmn_Exception.h"
#include "Cmn_StackDump.h"
#include "FF/OMF/OMF_Classes2x.h"
#include "FF/OMF/OMF_Defs.h"
#include "FF/OMF/OMF_Factory.h"
#include "Iop/Iop_SeqElem.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileLoc.h"

Sys_Umid OMF_Utils::omfUID_t2Sys_Umid(const omfUID_t& iID)
{
    return Sys_Umid(static_cast<uint32_t>(iID.prefix), iID.major, iID.minor, 0);
}

omfUID_t OMF_Utils::Sys_Umid2omfUID_t(const Sys_Umid& iUmid)
{
    omfUID_t id;
    id.prefix = static_cast<int32_t>(iUmid.GetWord(0));
    id.major = iUmid.GetWord(1);
    id.minor = iUmid.GetWord(2);
    return id;
}

void OMF_Utils::InitializeSeqElem(Iop_SeqElem* oElem)
{
    CMN_ASSERT(oElem);
    *oElem = Iop_SeqElem();
}

void OMF_Utils::ThrowIfErr(omfErr_t iErr, const std::string& iContext, omfHdl_t iFile)
{
    switch (iErr)
    {
    case OM_ERR_NONE:
        return;
    case OM_ERR_NOTOMFIFILE:
    case OM_ERR_BADHEAD:
    case OM_ERR_REFCYCLE:
        L10N_Throw(18, 9);
    case OM_ERR_FILEREV_NOT_SUPP:
        L10N_Throw(18, 2);
    default:
        throw Cmn_TypedException<std::string>(Cmn_StringExceptionCode::Instance(),
                                              iContext + ": " + omfsGetExpandedErrorString(iFile, iErr),
                                              Cmn_StackDump::Create());
    }
}

namespace
{
// The layer's session and factories, set up on first use and freed at exit.
struct LayerSession
{
    LayerSession()
    {
        ThrowIfErrHere(omfsBeginSession(nullptr, &mSession), "In omfsBeginSession");
        OMF_Defs::Initialize(mSession);
        if (!OMF_Factory1x::IsInitialized())
            OMF_Factory1x::Initialize();
        if (!OMF_Factory2x::IsInitialized())
            OMF_Factory2x::Initialize();
    }
    ~LayerSession()
    {
        OMF_Factory1x::Free();
        OMF_Factory2x::Free();
        omfsEndSession(mSession); // refused (and kept) while a file is still open
    }
    static void ThrowIfErrHere(omfErr_t iErr, const char* iContext) { OMF_Utils::ThrowIfErr(iErr, iContext); }
    omfSessionHdl_t mSession = nullptr;
};
} // namespace

omfSessionHdl_t OMF_Utils::GetSession()
{
    static LayerSession sSession;
    return sSession.mSession;
}

int32_t OMF_Utils::GetVersion(const Sys_FileLoc& iLoc)
{
    OMF_File file(iLoc);
    return file.Is1x() ? 1 : 2;
}

omfObject_t OMF_Utils::CloneMasterMobFromOMFPackage(const Sys_FileLoc& iPackage, const omfUID_t& iMobID,
                                                    omfHdl_t iDestFile)
{
    OMF_File package(iPackage);
    omfObject_t found = 0;
    if (package.Is1x())
    {
        if (auto* head = dynamic_cast<OMF_HEAD1x*>(package.GetHead()))
            for (const auto& [id, mob] : head->mSourceMobs.Get())
                if (id == iMobID && !mob->mPhysicalMedia.IsPresent())
                    found = mob->GetObj();
    }
    else if (auto* head = dynamic_cast<OMF_HEAD2x*>(package.GetHead()))
        for (OMF_MOBJ2x* mob : head->mMobs.Get())
            if (dynamic_cast<OMF_MMOB2x*>(mob) && mob->mMobID.IsSet() && mob->mMobID.Get() == iMobID)
                found = mob->GetObj();
    if (!found)
        L10N_Throw(18, 8);
    omfObject_t copy = 0;
    ThrowIfErr(omfiMobCloneExternal(package.mHdl, found, iDestFile, &copy), "In omfiMobCloneExternal", package.mHdl);
    return copy;
}

OMF_Utils::StDisableSemanticChecking::StDisableSemanticChecking(omfHdl_t iFile)
    : mFile(iFile), mWasOn(omfsIsSemanticCheckOn(iFile))
{
    omfsSemanticCheckOff(mFile);
}

OMF_Utils::StDisableSemanticChecking::~StDisableSemanticChecking()
{
    if (mWasOn)
        omfsSemanticCheckOn(mFile);
}
