// Fuzz target: an OMF file read from memory through the container layer and the object
// layer: label, TOC (both forms), names, references, the head, the summary walk and the dump
// walk over every property of every reachable object.
//
// The input is the file. The seeds in fuzz/seeds/OMFContainerFuzz/ are written by
// tests/OMF/OMF_ContainerTest.cpp and OMF_ObjectTest.cpp (with MIRAFILE_WRITE_FUZZ_SEEDS set).
//
// The only expected failures are the library's own exceptions: L10N exceptions ("file is not
// OMFI media", "OMF version unknown"), the toolkit errors that ThrowIfErr turns into
// exceptions (a property a damaged object lacks, with the toolkit's text) and assertion
// failures. Anything else, a crash, a leak, a huge allocation, or any other exception
// escaping, is a finding.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/OMF/OMF_Container.h"
#include "FF/OMF/OMF_Inspect.h"
#include "FF/OMF/OMF_Object.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize)
{
    try
    {
        OMF_File file(OMF_ContainerSource::FromMemory(std::vector<uint8_t>(iData, iData + iSize)));
        const OMF_Summary summary = OMF_Summarize(file);
        for (const OMF_EmbeddedMedia& media : summary.mMedia)
        {
            uint8_t bytes[16];
            OMF_ReadEmbeddedMedia(file, media, 0, bytes, media.mLength < 16 ? int32_t(media.mLength) : 16);
        }
        OMF_Dump(file);
    }
    catch (const Cmn_Exception&)
    {
    }
    catch (const Cmn_AssertException&)
    {
    }
    return 0;
}
