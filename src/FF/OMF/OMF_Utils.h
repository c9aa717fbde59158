// Helpers of the OMF object layer: identities, versions, failures, semantic checks, and the
// process-wide toolkit session that the layer's files share.
#pragma once

#include <string>

#include "FF/OMF/OMF_Toolkit.h"
#include "Sys_Umid.h"

class Iop_SeqElem;
class Sys_FileLoc;

class OMF_Utils
{
public:
    // An OMF identity in the words of a Sys_Umid: prefix, major, minor, 0; and back.
    static Sys_Umid omfUID_t2Sys_Umid(const omfUID_t& iID);
    static omfUID_t Sys_Umid2omfUID_t(const Sys_Umid& iUmid);
    // Resets a neutral element to an empty source region.
    static void InitializeSeqElem(Iop_SeqElem* oElem);
    // 1 or 2. Throws L10N 18/9 "file is not OMFI media" for a file that is no OMF file and
    // 18/2 "OMF version unknown" for one of another version.
    static int32_t GetVersion(const Sys_FileLoc& iLoc);
    // Nothing for OM_ERR_NONE. Otherwise: a file that is no OMF file (or has no head) throws
    // L10N 18/9, an unsupported revision L10N 18/2, any other error a failure whose text is
    // the context, ": ", and omfsGetExpandedErrorString.
    static void ThrowIfErr(omfErr_t iErr, const std::string& iContext, omfHdl_t iFile = nullptr);
    // The session of the layer: begun on first use, with OMF_Defs and both factories set up.
    static omfSessionHdl_t GetSession();
    // Finds the master mob with identity iMobID in the OMF file iPackage and copies it, with
    // everything it refers to, into iDestFile (created, same generation); returns the copy.
    // Throws as ThrowIfErr; a package without that mob throws L10N 18/8.
    static omfObject_t CloneMasterMobFromOMFPackage(const Sys_FileLoc& iPackage, const omfUID_t& iMobID,
                                                    omfHdl_t iDestFile);

    // Turns the toolkit's semantic checks off for a file and restores them at the end.
    class StDisableSemanticChecking
    {
    public:
        explicit StDisableSemanticChecking(omfHdl_t iFile);
        ~StDisableSemanticChecking();
        StDisableSemanticChecking(const StDisableSemanticChecking&) = delete;
        StDisableSemanticChecking& operator=(const StDisableSemanticChecking&) = delete;

    private:
        omfHdl_t mFile;
        bool mWasOn;
    };
};
