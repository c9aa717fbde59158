// A document: one file holding named streams, found through a table of contents (TOC), and
// raw bytes that its owner places and finds by position. A document has a file type and a
// creator of four characters each; a file of another type or creator is not opened.
//
// Design note.
//
// Layout (numbers big-endian, through the cross-platform typed streams):
//
//   0             block "FFDOCT", version 1 (standard stream header): 4 bytes file type,
//                 4 bytes creator, int64 TOC position, int32 TOC size (the TOC block's
//                 bytes, header included), 16 reserved bytes of zero. 48 bytes in all.
//   48            data: named streams and raw bytes, in the order they were written; holes
//                 where a stream was replaced or where an older TOC stood.
//   TOC position  block "DOCTOC", version 1: int32 count, then the entries in ascending key
//                 order: string key (1 to 255 bytes, no NUL), int64 position, int64 size.
//
// Invariants of a consistent file (checked on Open; a file that breaks one is refused):
//  1. The header block parses, its version is 1, it is 48 bytes long, and its type and
//     creator are the ones this object was made with.
//  2. 48 <= TOC position and TOC position + TOC size <= end of file; the TOC block fills
//     exactly TOC size bytes, its version is 1 and its count fits in its bytes.
//  3. Every stream lies in the data: 48 <= position and position + size <= TOC position;
//     sizes are not negative; no key twice.
//  4. Bytes after TOC position + TOC size belong to nobody (a crash may leave some); the next
//     Flush that commits anything cuts them off.
//
// State. Closed, or open for reading, or open for writing (OpenForWrite: the file must
// exist; OpenCreate: a new empty document replaces whatever was there and is committed at
// once). Open for writing, the document is clean or dirty:
//   clean --WriteStream / AppendBytes--> dirty: the bytes go to the end of the data, which
//           starts behind the committed TOC, so nothing that the header names is touched;
//   dirty --Flush--> clean: the TOC is written at the end of the data, then the header that
//           names it (the commit), then the file is cut behind the TOC;
//   Close flushes a dirty document; a failure there is swallowed (see below), so a caller
//   who must know calls Flush first.
//
// A crash (or a failed write) at any point leaves a file that opens as it was at the last
// Flush: before the header is rewritten, the old header names the old TOC, and every byte it
// reaches is unchanged; after it, the new TOC is complete. Only a torn write of the 48
// header bytes themselves, or a power failure that reorders the writes (nothing here syncs
// the device), can leave a file that is refused. The price is that every Flush after new
// writes leaves the previous TOC behind as a hole: documents are small and written rarely.
//
// Failures:
//  - A file that is not a document (the magic differs) throws L10N package 2, id 28; a
//    header that breaks invariant 1 otherwise (or a later version) package 0, id 44 ("an
//    error occurred while reading the document"); a TOC that breaks invariant 2 or 3
//    package 0, id 46 ("unable to find document TOC"). Nothing is allocated beyond what the
//    file holds.
//  - FailQuietlyException: the file is a sound document of another type or creator. It is
//    no error of the file; the caller treats the document as absent and tells nobody.
//  - InvalidContextException: an operation that the document's state does not allow: any
//    stream or byte operation on a closed document, a write on one open for reading.
//  - A raw range outside the data, or a file cut short behind our back, throws package 0,
//    id 44; a short write package 0, id 45. System failures throw as Sys_File reports them.
//  - Misuse of the arguments (an empty key, a negative count) fails an assertion.
// Both exception classes are plain standard-derived classes; their identities are
// Cmn_ANSIExceptionCode<...>::Instance() (CaptureException wraps them so).
//
// Threads: one thread at a time uses a document object. Two objects (or processes) writing
// one file at once are not supported.
#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cmn_Exception.h"
#include "Cmn_MemBufferStream.h"
#include "Cmn_Store.h"
#include "Sys_FileLoc.h"

class Sys_File;

class FF_Document : public Cmn_Store
{
public:
    class InvalidContextException;
    class FailQuietlyException;
    class StreamBytes;

    static constexpr const char* cHeaderTag = "FFDOCT";
    static constexpr const char* cTOCTag = "DOCTOC";
    static constexpr int16_t cVersion = 1;
    static constexpr int32_t cReservedBytes = 16;
    // Magic (6), version (2), size (4), type (4), creator (4), TOC position (8), TOC size
    // (4), reserved (16).
    static constexpr int32_t cHeaderSize = 48;
    static constexpr int32_t cTypeLength = 4;
    static constexpr int32_t cMaxKeyLength = 255;

    struct TOCEntry
    {
        int64_t mPosition = 0;
        int64_t mSize = 0;
    };

    // The document in iLoc (which need not exist yet), of type iFileType and creator
    // iCreator (four characters each: asserted). Nothing is read until Open.
    FF_Document(const Sys_FileLoc& iLoc, const std::string& iFileType, const std::string& iCreator);
    // Closes the document if it is open (flushing a dirty one; failures are swallowed).
    ~FF_Document() override;

    const Sys_FileLoc& GetFileLoc() const { return mFileLoc; }
    const std::string& GetFileType() const { return mFileType; }
    const std::string& GetCreator() const { return mCreator; }

    // ---- named streams (open document) --------------------------------------------------
    bool HasStream(const std::string& iKey) const;
    // The keys in ascending order.
    std::vector<std::string> GetStreamKeys() const;
    // The bytes of the stream iKey, read into memory that the result owns; null when there is
    // no such stream.
    std::unique_ptr<StreamBytes> ReadStream(const std::string& iKey);
    // Writes iCount bytes as the stream iKey (new, or replacing the old one, whose bytes
    // become a hole) at the end of the data. Needs a document open for writing. Asserts a key
    // of 1 to cMaxKeyLength bytes without NUL, and "iCount >= 0 && (iBytesP || !iCount)".
    void WriteStream(const std::string& iKey, const void* iBytesP, int64_t iCount);

    // ---- raw bytes (open document) ------------------------------------------------------
    // The end of the data: where the next bytes written go.
    int64_t SeekToEnd() const;
    // Writes iCount bytes at the end of the data and returns their position. The document
    // names them nowhere: the owner keeps the position (in a stream of its own). Needs a
    // document open for writing; asserts as WriteStream.
    int64_t AppendBytes(const void* iBytesP, int64_t iCount);
    // Reads iCount bytes at iPosition, which must lie in the data (cHeaderSize to SeekToEnd()).
    void ReadBytes(int64_t iPosition, void* oBytesP, int64_t iCount);

    // Commits what was written (see the design note). Nothing to do for a clean document or
    // one open for reading; a closed one throws InvalidContextException.
    void Flush() override;

    // ---- state, for tests and diagnostics ----------------------------------------------
    bool IsDirty() const { return mDirty; }
    // The committed TOC (as read, or as last flushed).
    int64_t GetTOCPosition() const { return mTOCPosition; }
    int32_t GetTOCSize() const { return mTOCSize; }

    // Any exception as a Cmn_Exception, as Cmn_CaptureException does, with the two exception
    // kinds of documents under their own codes.
    static std::unique_ptr<Cmn_Exception> CaptureException(std::exception_ptr iException);

protected:
    void OpenImpl(EOpenFlag iOpenFlag) override;
    void CloseImpl() override;

private:
    void RequireOpen() const;
    void RequireWritable() const;
    void CreateNew();
    void ReadHeaderAndTOC();
    void WriteAt(int64_t iPosition, const void* iBytesP, int64_t iCount);
    void WriteTOC();
    void WriteHeader();

    Sys_FileLoc mFileLoc;
    std::string mFileType;
    std::string mCreator;
    std::unique_ptr<Sys_File> mFile;
    std::map<std::string, TOCEntry> mTOC;
    int64_t mTOCPosition = cHeaderSize;
    int32_t mTOCSize = 0;
    int64_t mDataEnd = cHeaderSize;
    bool mDirty = false;
};

// The document's state does not allow the operation (a programming error of the caller's,
// reported as an exception so that it can be recovered from).
class FF_Document::InvalidContextException : public std::logic_error
{
public:
    explicit InvalidContextException(const std::string& iText) : std::logic_error(iText) {}
};

// The file is not a document of this kind: not an error to report.
class FF_Document::FailQuietlyException : public std::runtime_error
{
public:
    explicit FailQuietlyException(const std::string& iText) : std::runtime_error(iText) {}
};

// A stream's bytes in memory, read as a memory stream. Not copyable; one thread at a time.
class FF_Document::StreamBytes : public Cmn_MemBufferInStream
{
public:
    explicit StreamBytes(std::vector<unsigned char> iBytes) : mBytes(std::move(iBytes))
    {
        SetRange(mBytes.data(), mBytes.data() + mBytes.size());
    }
    const std::vector<unsigned char>& GetBytes() const { return mBytes; }

private:
    std::vector<unsigned char> mBytes;
};
