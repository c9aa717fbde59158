// The open/close frame of stores (audio files, documents, caches, bins).
//
// Open(flag) counts nested opens; only the first runs OpenImpl, and only the last Close runs
// CloseImpl. A store open for read accepts only further opens for read; one open for write
// accepts any. If OpenImpl throws, the store is left closed with a count of zero and the
// exception goes on, so a later Open runs OpenImpl again. Stores are not copyable.
#pragma once

#include <cstdint>

#include "Cmn_RefCountObject.h"

class Cmn_Store : public Cmn_RefCountObject
{
public:
    enum EOpenFlag
    {
        eOpenFlag_NotOpen = 0,
        eOpenFlag_OpenForRead = 1,
        eOpenFlag_OpenForWrite = 2,
        eOpenFlag_OpenCreate = 3
    };

    Cmn_Store() = default;
    Cmn_Store(const Cmn_Store&) = delete;
    Cmn_Store& operator=(const Cmn_Store&) = delete;
    ~Cmn_Store() override = default;

    virtual void Flush() {}

    void Open(EOpenFlag iOpenFlag);
    void Close();
    bool IsOpen() const { return mOpenFlag != eOpenFlag_NotOpen; }
    EOpenFlag GetOpenFlag() const { return mOpenFlag; }
    int32_t GetOpenRefCount() const { return mOpenRefCount; }

protected:
    virtual void OpenImpl(EOpenFlag iOpenFlag) = 0;
    virtual void CloseImpl() = 0;

private:
    EOpenFlag mOpenFlag = eOpenFlag_NotOpen;
    int32_t mOpenRefCount = 0;
};
