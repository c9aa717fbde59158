// Fuzz target: parsing a resource fork (FF_ResourceFork) and reading every resource of it.
//
// The input is the fork. A fork that parses is read whole (every resource by type and id, by
// name and by index), laid out again, and the new layout must parse to the same resources.
// The seeds in fuzz/seeds/ResourceMapFuzz/ are written by tests/FF/FF_QSPlugInTest.cpp
// (run with MIRAFILE_WRITE_FUZZ_SEEDS=fuzz/seeds).
//
// Expected failures are the family exception (Sys_OSErrException, "map damaged"); anything
// else, a crash, a hang or a huge allocation, is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/PlugIns/FF_ResFileUtils.h"

namespace
{
volatile uint64_t gSink;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    try
    {
        const FF_ResourceFork fork(std::vector<uint8_t>(data, data + size));
        std::vector<uint8_t> bytes;
        for (const FF_ResourceFork::Resource& resource : fork.GetResources())
        {
            if (fork.Get(resource.mType, resource.mID, &bytes))
                gSink = gSink + bytes.size();
            if (resource.mHasName && fork.GetNamed(resource.mType, resource.mName, &bytes))
                gSink = gSink + bytes.size();
            if (fork.GetIndexed(resource.mType, 1, &bytes))
                gSink = gSink + bytes.size();
        }
        const FF_ResourceFork again(fork.Build());
        if (again.GetResources().size() != fork.GetResources().size())
            std::abort(); // a fork laid out again must keep every resource
    }
    catch (const Cmn_Exception&)
    {
    }
    return 0;
}
