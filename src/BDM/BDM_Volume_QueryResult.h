// A search of a volume: the database's result, handed out as the volume's own. The keys are
// the database's (a volume's entries keep their database keys), and each delivered key is
// the volume's asset (BDM_VolumeAsset) through GetLastAsset or the volume's GetAsset; a row
// that is gone by the time it is delivered is passed over.
// Threads: the browser's thread.
#pragma once

#include <memory>

#include "BDM/BDM_Asset.h"
#include "BDM/BDM_Query.h"

class BDM_Volume;

class BDM_Volume_QueryResult : public BDM_QueryResult
{
public:
    // iInner: the volume database's result (not null). The volume is held.
    BDM_Volume_QueryResult(BDM_Volume& iVolume, std::unique_ptr<BDM_QueryResult> iInner);
    ~BDM_Volume_QueryResult() override;

    EResult Next(BDM_KeyHandle* oKeyP, int32_t iMilliseconds) override;
    // The volume's asset of the key that Next delivered last (null before the first).
    const BDM_AssetHandle& GetLastAsset() const { return mLast; }

private:
    BDM_BinHandle mVolume;
    std::unique_ptr<BDM_QueryResult> mInner;
    BDM_AssetHandle mLast;
};
