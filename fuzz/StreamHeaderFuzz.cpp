// Fuzz target: the standard stream header and the typed stream over in-memory input.
//
// Input: one byte that picks the byte order (low two bits: 0 native, 1 little-endian,
// 2 big-endian, 3 cross-platform), then a header with the magic "MiraFuzz" and a version
// from 1 to 3 whose data is a list of operations: one byte (modulo 14) and then what that
// operation reads (see ReadOperations). The seeds in fuzz/seeds/StreamHeaderFuzz/ are
// written by tests/Sys/Sys_StdStreamHeaderTest.cpp, which keeps the same list.
//
// The only expected failures are the library's own: L10N exceptions (wrong magic, lying
// size or length, end of stream, version) and assertion failures. Anything else, a crash,
// a leak, a huge allocation, or any other exception escaping, is a finding.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Cmn_Assert.h"
#include "Cmn_MemBufferStream.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
constexpr const char* kMagic = "MiraFuzz";
constexpr int kMaxNesting = 8;

volatile uint64_t gSink; // keeps the values read from being optimised away

template <class T> void Consume(Sys_TypedInStream& in)
{
    const T value = in.Read<T>();
    unsigned char bytes[sizeof(T)];
    __builtin_memcpy(bytes, &value, sizeof(T));
    gSink = gSink + bytes[0];
}

void ReadHeader(Sys_TypedInStream& in, int iDepth);

void ReadOperations(Sys_TypedInStream& in, Sys_StdStreamHeaderReader& reader, int iDepth)
{
    while (reader.IsMoreLeft())
    {
        switch (in.Read<unsigned char>() % 14)
        {
        case 0:
            Consume<char>(in);
            break;
        case 1:
            Consume<unsigned char>(in);
            break;
        case 2:
            Consume<int16_t>(in);
            break;
        case 3:
            Consume<uint16_t>(in);
            break;
        case 4:
            Consume<int32_t>(in);
            break;
        case 5:
            Consume<uint32_t>(in);
            break;
        case 6:
            Consume<int64_t>(in);
            break;
        case 7:
            Consume<uint64_t>(in);
            break;
        case 8:
            Consume<float>(in);
            break;
        case 9:
            Consume<double>(in);
            break;
        case 10:
            Consume<bool>(in);
            break;
        case 11:
        {
            const std::string text = in.Read<std::string>();
            gSink = gSink + text.size();
            break;
        }
        case 12:
        {
            unsigned char block[255];
            in.ReadBlock(block, in.Read<unsigned char>());
            break;
        }
        default:
            if (iDepth < kMaxNesting)
                ReadHeader(in, iDepth + 1);
            break;
        }
    }
}

void ReadHeader(Sys_TypedInStream& in, int iDepth)
{
    Sys_StdStreamHeaderReader reader(in, kMagic);
    reader.CheckVersion(1, 3);
    ReadOperations(in, reader, iDepth);
    reader.SkipTheRest();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    Cmn_MemBufferInStream mem(data + 1, data + size);
    try
    {
        switch (data[0] & 3)
        {
        case 0:
        {
            Sys_NativeInStream in(&mem);
            ReadHeader(in, 0);
            break;
        }
        case 1:
        {
            Sys_LittleEndianInStream in(&mem);
            ReadHeader(in, 0);
            break;
        }
        case 2:
        {
            Sys_BigEndianInStream in(&mem);
            ReadHeader(in, 0);
            break;
        }
        default:
        {
            Sys_CrossPlatformInStream in(&mem);
            ReadHeader(in, 0);
            break;
        }
        }
    }
    catch (const L10N_Exception&)
    {
    }
    catch (const Cmn_AssertException&)
    {
    }
    return 0;
}
