#include "FF/FF_BatchProcess.h"

FF_BatchProcess::~FF_BatchProcess() = default;

std::string FF_BatchProcess::GetDescription() const
{
    return GetName();
}

void FF_BatchProcess::DoPostProcessing()
{
    if (mPostProcess)
        mPostProcess->DoPostProcessing(this);
}
