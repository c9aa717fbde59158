// The recursive engine of the browser: an iterator walks a folder's tree as a lazy object,
// making an operator (a lazy object of work) for the root and for every child.
//
// BDM_Iterator::Load is a re-entrant state machine; it never waits: it adds dependencies
// and answers false, and is entered again once they have loaded.
//   stage 0: the preprocess (GetPreprocess), if any, becomes a dependency.
//   stage 1: the operator of the local root (CreateOperator; it must not be an iterator:
//            "!operatorIsIterator") becomes a dependency; for a container, so does the
//            child enumerator, whose client asks CreateOperator for each child in this
//            iterator's load context: a leaf operator is a dependency at once and adds one
//            unit to do; an iterator (a sub-folder) is kept for stage 2.
//   stage 2: the sub-iterators become dependencies.
//   stage 3: the last pass: the operators postponed to it (PostponeToLastPass), here and in
//            every sub-iterator, become dependencies, with the progress counted afresh;
//            then the postprocess (GetPostProcess), if any, becomes a dependency.
//   stage 4: done.
// With the multi-pass flag, each entry below stage 3 first calls PrepareForPass, which
// clears the progress and adds the kept operators again, so that a pass runs over all of
// them; only the outermost worker is multi-pass. Operators postponed by a sub-iterator go to
// the outermost iterator of the walk, so that they run after everything else in it.
//
// BDM_RecursiveWorker asks a WorkFactory for the work on the root and on each file; a
// sub-folder gets a worker of its own with the same factory.
// Threads: the thread that drives the queue.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "BDM/BDM_Bin.h"

class BDM_Iterator : public BDM_LazyObject
{
public:
    BDM_Iterator(BDM_Bin& iBin, const BDM_KeyHandle& iLocalRoot);

    virtual BDM_LazyObjectHandle GetPreprocess() { return BDM_LazyObjectHandle(); }
    virtual BDM_LazyObjectHandle GetPostProcess() { return BDM_LazyObjectHandle(); }
    // The work for iKey (a child of iParentP, null for the local root); *oIsIteratorP tells
    // whether it is an iterator of its own.
    virtual BDM_LazyObjectHandle CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                                bool* oIsIteratorP) = 0;
    virtual void PrepareForPass(BDM_Iterator* iIteratorP);

    void SetMultiPass(bool iMultiPass) { mMultiPass = iMultiPass; }
    bool IsMultiPass() const { return mMultiPass; }
    int32_t GetStage() const { return mStage; }
    BDM_Bin& GetBin() const { return *mBin; }
    const BDM_KeyHandle& GetLocalRoot() const { return mLocalRoot; }

    // The operators waiting for the last pass of this walk.
    size_t GetNumPostponed() const { return PassOwner()->mPostponed.size(); }

protected:
    bool Load() override;
    // Keeps iOperator aside until the last pass of the walk (see the design note).
    void PostponeToLastPass(const BDM_LazyObjectHandle& iOperator);

private:
    class ChildClient;
    void HandleChild(const BDM_KeyHandle& iKey);
    BDM_Iterator* PassOwner() const
    {
        return mPassOwnerP ? mPassOwnerP : const_cast<BDM_Iterator*>(this);
    }
    void AddCounted(const BDM_LazyObjectHandle& iOperator);

    BDM_BinHandle mBin;
    BDM_KeyHandle mLocalRoot;
    BDM_AssetHandle mLocalRootAsset;
    BDM_LazyObjectHandle mLocalRootOperator;
    std::list<BDM_LazyObjectHandle> mOperators; // the leaves
    std::list<BDM_LazyObjectHandle> mIterators; // the sub-folders
    std::list<BDM_LazyObjectHandle> mPostponed; // for the last pass (on the outermost only)
    BDM_Iterator* mPassOwnerP = nullptr;         // the outermost iterator; null: this one
    bool mLastPassTaken = false;
    bool mMultiPass = false;
    int32_t mStage = 0;
};

class BDM_RecursiveWorker : public BDM_Iterator
{
public:
    class WorkFactory
    {
    public:
        virtual ~WorkFactory() = default;
        virtual int32_t GetType() const = 0;
        // The work on one item; a BDM_DoNothingObject when there is nothing to do.
        virtual BDM_LazyObjectHandle CreateWork(BDM_Bin& iBin, const BDM_KeyHandle& iKey) = 0;
        // Whether the work on a file (never the root) waits for the last pass of the walk.
        virtual bool IsForLastPass(BDM_Bin&, const BDM_KeyHandle&) const { return false; }
        virtual std::string GetDescription() const = 0;
    };

    BDM_RecursiveWorker(BDM_Bin& iBin, const BDM_KeyHandle& iRoot,
                        std::shared_ptr<WorkFactory> iFactory);
    BDM_LazyObjectHandle CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                        bool* oIsIteratorP) override;
    bool ShowInTaskManager() const override { return true; }

private:
    std::shared_ptr<WorkFactory> mFactory;
};

// Deletes a folder's tree: the files, then each folder once everything in it has gone.
class BDM_RecursiveAssetDeleter : public BDM_Iterator
{
public:
    BDM_RecursiveAssetDeleter(BDM_Bin& iBin, const BDM_KeyHandle& iRoot);
    BDM_LazyObjectHandle CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                        bool* oIsIteratorP) override;
    // The root goes last, after its children.
    BDM_LazyObjectHandle GetPostProcess() override;
    bool ShowInTaskManager() const override { return true; }
};

// Copies a tree into a folder of another (or the same) bin: the root folder is made in the
// destination first, then each file is copied by the destination bin's CopyAsset, and each
// sub-folder by a copier of its own into the new folder.
class BDM_RecursiveAssetCopier : public BDM_Iterator
{
public:
    BDM_RecursiveAssetCopier(BDM_Bin& iSrcBin, const BDM_KeyHandle& iSrcRoot, BDM_Bin& iDstBin,
                             const BDM_KeyHandle& iDstParent);
    BDM_LazyObjectHandle CreateOperator(const BDM_KeyHandle& iKey, BDM_Asset* iParentP,
                                        bool* oIsIteratorP) override;
    bool ShowInTaskManager() const override { return true; }
    // The key of the copy of the root (once the walk has begun).
    const BDM_KeyHandle& GetCopiedAssetKey() const { return mCopiedRoot; }

    // Work that runs once the whole tree is copied, as the walk's post-process; it is told
    // the copier that runs it (which outlives it while it loads).
    class PostProcess : public BDM_LazyObject
    {
    public:
        BDM_RecursiveAssetCopier* GetCopier() const { return mCopierP; }

    private:
        friend class BDM_RecursiveAssetCopier;
        BDM_RecursiveAssetCopier* mCopierP = nullptr;
    };
    using PostProcessHandle = Cmn_PolymorphicHandle<PostProcess, Sys_ThreadSafeRefCountObject>;
    // Runs iPostProcess after the copy of this copier's tree (set it on the outermost one).
    void SetPostProcess(const PostProcessHandle& iPostProcess);
    BDM_LazyObjectHandle GetPostProcess() override;
    BDM_BinHandle GetDestinationBin() const { return mDstBin; }

private:
    BDM_BinHandle mDstBin;
    BDM_KeyHandle mDstParent;
    BDM_KeyHandle mCopiedRoot;
    PostProcessHandle mPostProcess;
};

// The factory of "Calculating overviews": every audio file without an overview.
class BDM_OverviewRecalculator : public BDM_RecursiveWorker::WorkFactory
{
public:
    int32_t GetType() const override { return 4; }
    BDM_LazyObjectHandle CreateWork(BDM_Bin& iBin, const BDM_KeyHandle& iKey) override;
    std::string GetDescription() const override;
};
