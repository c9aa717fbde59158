// A step that runs after a batch process has completed, on the owner's thread (whoever calls
// FF_BatchProcess::DoPostProcessing). Counted with Cmn_AliasedRefCountPtr, single-threaded
// count: set it up and release it on the owner's thread.
#pragma once

#include "Cmn_RefCountObject.h"

class FF_BatchProcess;

class FF_PostProcess : public Cmn_RefCountObject
{
public:
    FF_PostProcess() = default;
    FF_PostProcess(const FF_PostProcess&) = delete;
    FF_PostProcess& operator=(const FF_PostProcess&) = delete;

    // Called once with the completed batch process. May throw to the owner.
    virtual void DoPostProcessing(FF_BatchProcess* iBatchProcessP) = 0;
};
