// Making overviews, moving them in and out of a file's embedded overview property, and
// bounding the memory that all overviews of the process hold.
//
// Allocate gives a new store with a zeroed buffer, sized by the payload rule of
// FF_AudioOverview. Purge frees buffers of stores, oldest first, whatever their locks: the
// owner calls it when no chain is writing overviews and then reads again what it needs.
// All static; any thread.
#pragma once

#include <cstdint>

#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"

class FF_AudioFile;

class FF_AudioOverviewMgr
{
public:
    // The most samples one overview covers: its size must fit a signed 32-bit count.
    static constexpr int64_t cMaxNumSamples = int64_t(0x7FFFFFFE) / 2 * 256;

    // A new overview of (iNumSamples + 255) / 256 * 2 zero bytes. Asserts
    // "iNumSamples >= 0 && iNumSamples <= cMaxNumSamples".
    static FF_AudioOverview Allocate(int64_t iNumSamples);
    // The same for a 32-bit count (so that a literal count is not taken for a file).
    static FF_AudioOverview Allocate(int32_t iNumSamples) { return Allocate(int64_t(iNumSamples)); }
    // The same for the file's sample count: opens the file for reading if it is closed and
    // closes it again afterwards. Asserts "iAudioFileP".
    static FF_AudioOverview Allocate(FF_AudioFile* iAudioFileP);
    // A new overview of exactly iSize zero bytes (a payload read back from a cache). Asserts
    // "iSize >= 0".
    static FF_AudioOverview AllocateBytes(int32_t iSize);

    // The file's embedded overview (the raw payload the file layer keeps in
    // FF_AudioFile::mOverview) as an FF_AudioOverview: true when the file carries one of the
    // size its sample count calls for (an overview of another size is stale and ignored). The
    // file must be open (reading the property asks its plug-in). Asserts "oOverviewP".
    static bool GetEmbeddedOverview(FF_AudioFile& iFile, FF_AudioOverview* oOverviewP);
    // Sets the file's embedded overview property to the bytes of iOverview (written by the
    // file's next Flush). The file must be open for writing. Asserts "iOverview.HasBytes()".
    static void SetEmbeddedOverview(FF_AudioFile& iFile, const FF_AudioOverview& iOverview);

    // Walks the stores from the oldest and frees each buffer, adding up the bytes freed; stops
    // once the sum has passed iLimit. A limit of -1 frees all. Returns the bytes freed.
    static int64_t Purge(int32_t iLimit);
    // The bytes that all stores hold now (purged ones count 0).
    static int64_t GetBytesHeld();
};
