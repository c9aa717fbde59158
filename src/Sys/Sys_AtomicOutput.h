// Outputs that appear whole or not at all.
//
// A new output is written under a temporary name in its own folder,
//     ".mirafile-tmp-" + process id + "-" + final name,
// and renamed to its final name only when it is complete: the file is synced, renamed
// without replacing anything, and the folder is synced. A kill, a crash or a power cut at any
// moment leaves either no file under the final name or the whole one.
//
// Invariants:
//  1. Between Begin and Commit or Discard the final location is "reserved": in this process
//     Sys_File opens it at the temporary location (Redirect), the Sys_FileUtils queries
//     answer for the temporary file, Sys_FileUtils::DeleteFile of it discards the temporary
//     file, and Sys_FileUtils::HandleDuplicateName treats the name as taken. Other processes
//     see the temporary file, whose name holds the final one, and treat it as taken too.
//  2. Two reservations of one name (two runs at once) cannot both hold: Begin creates the
//     temporary file exclusively and then looks for a live one of another process for the
//     same name; the lower process id keeps it, the other Begin fails with EEXIST. Commit
//     replaces no file unless told so: a final name taken meanwhile fails with EEXIST and
//     the temporary file goes.
//  3. A temporary file whose process is gone is stale: Begin removes every stale one in its
//     folder (and its sidecar, and nothing else) before it reserves.
//  4. A reserved file's AppleDouble sidecar ("._" + final name) is redirected to the sidecar
//     of the temporary file. Commit of a new output renames that sidecar first (over an
//     orphan sidecar of the free final name), then the file, and takes the sidecar back
//     when the file cannot follow, so the final name never stands without its sidecar; a
//     replacing output renames the file, then the sidecar. Discard deletes both.
//
// Any thread may call these; the registry of reservations is guarded by one mutex.
#pragma once

#include <string>

#include "Sys_FileLoc.h"

class Sys_AtomicOutput
{
public:
    static constexpr const char* cTempPrefix = ".mirafile-tmp-";

    // Reserves iFinal, creates its (empty) temporary file and returns its location. Throws
    // EEXIST when iFinal is reserved by this or a live other process, or exists (unless
    // iReplace: then a file there is replaced by Commit, and a folder there throws EISDIR).
    static Sys_FileLoc Begin(const Sys_FileLoc& iFinal, bool iReplace = false);
    // Syncs the temporary file, renames it to iFinal (replacing a file only when Begin was
    // told so) and syncs the folder; the reservation ends. Nothing happens for a location that is
    // not reserved. Failures throw, and the temporary file is gone; so is the output when the
    // folder fails to sync, unless it replaced a file (it then stands, whole).
    static void Commit(const Sys_FileLoc& iFinal);
    // Gives the temporary file of a reserved iFinal the permission bits of the file that
    // stands at iFinal (the one it is to replace); nothing when there is none.
    static void TakeMode(const Sys_FileLoc& iFinal);
    // Deletes the temporary file and ends the reservation; false when iFinal is not reserved.
    static bool Discard(const Sys_FileLoc& iFinal);
    // The temporary location of a reserved iFinal, else iLoc itself.
    static Sys_FileLoc Redirect(const Sys_FileLoc& iLoc);
    // Whether iFinal is reserved here, or by a live other process (its temporary file).
    static bool IsReserved(const Sys_FileLoc& iFinal);
    // Deletes the temporary files in iFolder whose process is gone; returns how many.
    static int32_t RemoveStaleTempFiles(const Sys_FileLoc& iFolder);
    // Fault injection for tests: the hook is asked before every sync (iRename false) and
    // rename (true) of an output; a result other than 0 fails it with that error.
    using FaultHook = int32_t (*)(bool iRename);
    static void SetFaultHook(FaultHook iHook);
    // Splits a temporary name into process id and final name; false for any other name.
    static bool ParseTempName(const std::string& iName, int32_t* oPid, std::string* oFinalName);
};

// Reserves a final location for the life of the guard: Commit publishes the output; a guard
// that goes without Commit (an unwinding failure) discards the temporary file. Not copyable.
class Sys_StAtomicOutput
{
public:
    explicit Sys_StAtomicOutput(const Sys_FileLoc& iFinal, bool iReplace = false)
        : mFinal(iFinal), mTemp(Sys_AtomicOutput::Begin(iFinal, iReplace))
    {
    }
    ~Sys_StAtomicOutput()
    {
        if (!mDone)
        {
            try
            {
                Sys_AtomicOutput::Discard(mFinal);
            }
            catch (...)
            {
            }
        }
    }
    Sys_StAtomicOutput(const Sys_StAtomicOutput&) = delete;
    Sys_StAtomicOutput& operator=(const Sys_StAtomicOutput&) = delete;

    const Sys_FileLoc& GetFinalLoc() const { return mFinal; }
    const Sys_FileLoc& GetTempLoc() const { return mTemp; }
    void Commit()
    {
        mDone = true;
        Sys_AtomicOutput::Commit(mFinal);
    }

private:
    Sys_FileLoc mFinal;
    Sys_FileLoc mTemp;
    bool mDone = false;
};
