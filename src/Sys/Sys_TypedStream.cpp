#include "Sys_TypedStream.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"

namespace
{
constexpr bool kLittleHost = std::endian::native == std::endian::little;

constexpr int32_t kCmnPackageID = 7;
constexpr int32_t kUnexpectedEndOfStreamID = 8;
} // namespace

// ---- Sys_TypedInStream -------------------------------------------------------------------

Sys_TypedInStream::Sys_TypedInStream(Cmn_InStream* iStreamP, bool iSwap)
    : mStreamP(iStreamP), mSwap(iSwap)
{
    CMN_ASSERT_TEXT(iStreamP != nullptr, "iStreamP != 0");
}

template <class T> void Sys_TypedInStream::ReadNumber(T& oValue)
{
    unsigned char bytes[sizeof(T)];
    mStreamP->Read(bytes, sizeof(T));
    if (mSwap)
        std::reverse(bytes, bytes + sizeof(T));
    std::memcpy(&oValue, bytes, sizeof(T));
}

void Sys_TypedInStream::Read(char& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(unsigned char& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(int16_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(uint16_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(int32_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(uint32_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(int64_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(uint64_t& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(float& oValue)
{
    ReadNumber(oValue);
}
void Sys_TypedInStream::Read(double& oValue)
{
    ReadNumber(oValue);
}

void Sys_TypedInStream::Read(bool& oValue)
{
    unsigned char byte = 0;
    mStreamP->Read(&byte, 1);
    oValue = byte != 0;
}

void Sys_TypedInStream::Read(std::string& oValue)
{
    int32_t length = 0;
    ReadNumber(length);
    // The length comes from the data: never size an allocation by it unchecked.
    if (length < 0 || length > mStreamP->GetEndPos() - mStreamP->GetPos())
        L10N_Throw(kCmnPackageID, kUnexpectedEndOfStreamID);
    std::string stored(static_cast<size_t>(length), '\0');
    mStreamP->Read(stored.data(), length);
    oValue.assign(stored.c_str()); // ends at the first NUL, as the system's did
}

// ---- Sys_TypedOutStream ------------------------------------------------------------------

Sys_TypedOutStream::Sys_TypedOutStream(Cmn_OutStream* iStreamP, bool iSwap)
    : mStreamP(iStreamP), mSwap(iSwap)
{
    CMN_ASSERT_TEXT(iStreamP != nullptr, "iStreamP != 0");
}

template <class T> void Sys_TypedOutStream::WriteNumber(T iValue)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &iValue, sizeof(T));
    if (mSwap)
        std::reverse(bytes, bytes + sizeof(T));
    mStreamP->Write(bytes, sizeof(T));
}

void Sys_TypedOutStream::Write(char iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(unsigned char iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(int16_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(uint16_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(int32_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(uint32_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(int64_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(uint64_t iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(float iValue)
{
    WriteNumber(iValue);
}
void Sys_TypedOutStream::Write(double iValue)
{
    WriteNumber(iValue);
}

void Sys_TypedOutStream::Write(bool iValue)
{
    const unsigned char byte = iValue ? 1 : 0;
    mStreamP->Write(&byte, 1);
}

void Sys_TypedOutStream::Write(const std::string& iValue)
{
    CMN_ASSERT(iValue.size() <= static_cast<size_t>(std::numeric_limits<int32_t>::max()));
    const auto length = static_cast<int32_t>(iValue.size());
    WriteNumber(length);
    mStreamP->Write(iValue.data(), length);
}

void Sys_TypedOutStream::Write(const char* iText)
{
    CMN_ASSERT_TEXT(iText != nullptr, "iText != 0");
    Write(std::string(iText));
}

// ---- the named byte orders ---------------------------------------------------------------

Sys_NativeInStream::Sys_NativeInStream(Cmn_InStream* iStreamP) : Sys_TypedInStream(iStreamP, false)
{
}
Sys_NativeOutStream::Sys_NativeOutStream(Cmn_OutStream* iStreamP)
    : Sys_TypedOutStream(iStreamP, false)
{
}

Sys_LittleEndianInStream::Sys_LittleEndianInStream(Cmn_InStream* iStreamP)
    : Sys_TypedInStream(iStreamP, !kLittleHost)
{
}
Sys_LittleEndianOutStream::Sys_LittleEndianOutStream(Cmn_OutStream* iStreamP)
    : Sys_TypedOutStream(iStreamP, !kLittleHost)
{
}

Sys_BigEndianInStream::Sys_BigEndianInStream(Cmn_InStream* iStreamP)
    : Sys_TypedInStream(iStreamP, kLittleHost)
{
}
Sys_BigEndianOutStream::Sys_BigEndianOutStream(Cmn_OutStream* iStreamP)
    : Sys_TypedOutStream(iStreamP, kLittleHost)
{
}

Sys_CrossPlatformInStream::Sys_CrossPlatformInStream(Cmn_InStream* iStreamP)
    : Sys_TypedInStream(iStreamP, kLittleHost)
{
}
Sys_CrossPlatformOutStream::Sys_CrossPlatformOutStream(Cmn_OutStream* iStreamP)
    : Sys_TypedOutStream(iStreamP, kLittleHost)
{
}
