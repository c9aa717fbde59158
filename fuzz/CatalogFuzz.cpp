// Fuzz target: catalog files (SQLite databases of our schema) opened read-only and searched.
//
// Input: the bytes of a catalog file. The seeds in fuzz/seeds/CatalogFuzz/ are small
// catalogs written by tests/Catalog/BNeoa_BinTest.cpp (page size 512, rollback journal).
// The bytes go to a temporary file, which is opened for reading, listed, read attribute by
// attribute, searched with a few terms and checked for integrity.
//
// The only expected failures are the library's own: L10N exceptions (a file that is not a
// catalog, a damaged database) and assertions (Cmn_AssertException) of the checks on what a
// catalog must hold. Anything else, a crash or another exception, is a finding.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "BDM/BDM_Schema.h"
#include "Cmn_Assert.h"
#include "L10N_ExceptionData.h"

namespace
{
void Exercise(BNeoa_Bin& ioBin)
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    std::list<BDM_KeyHandle> keys;
    ioBin.ListChildren(static_cast<const BNeoa_Key&>(*ioBin.GetRoot()).GetID(), &keys);
    int32_t visited = 0;
    while (!keys.empty() && ++visited < 64)
    {
        BDM_AssetHandle asset = ioBin.GetAsset(keys.front());
        keys.pop_front();
        if (!asset)
            continue;
        for (const auto& entry : BNeoa_AttributeMapper::GetEntries())
            if (BDM_Attribute* attributeP = asset->GetAttribute(*entry.mTag))
                attributeP->GetValue();
        asset->GetName();
        std::list<BDM_KeyHandle> children;
        asset->GetChildren(&children);
        keys.splice(keys.end(), children);
    }
    BDM_PredicateFactory& f = *ioBin.GetPredicateFactory();
    const BDM_TypedAttributeValue<int32_t> rate(&t.cAudioFileSampleRate, 48000);
    const BDM_TypedAttributeValue<std::string> name(&t.cFileName, "a%_");
    auto result = ioBin.Query(f.Or(f.MakePredicate(rate, BDM_PredicateFactory::eRelation_GreaterOrEqual),
                                   f.MakePredicate(name, BDM_PredicateFactory::eRelation_Contains)),
                              ioBin.GetRoot());
    BDM_KeyHandle key;
    for (int32_t i = 0; i < 64 && result->Next(&key, 50) != BDM_QueryResult::eResult_End; ++i)
    {
    }
    ioBin.CheckIntegrity();
    ioBin.CountAssets();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool sReady = [] {
        BDM_AttributeTags::Instance();
        if (!BDM_Schema::IsInitialized())
            BDM_Schema::InitializeSchema();
        return true;
    }();
    (void)sReady;
    const std::string path = "/tmp/CatalogFuzz-" + std::to_string(::getpid()) + BDM_Catalog::cFileExtension;
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        std::remove((path + suffix).c_str());
    if (FILE* file = std::fopen(path.c_str(), "wb"))
    {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    try
    {
        BDM_BinHandle bin(new BDM_Catalog(Sys_FileLoc(path), nullptr));
        bin->Open(Cmn_Store::eOpenFlag_OpenForRead);
        Exercise(static_cast<BNeoa_Bin&>(*bin));
        bin->Close();
    }
    catch (const L10N_Exception&)
    {
    }
    catch (const Cmn_AssertException&)
    {
    }
    for (const char* suffix : {"", "-wal", "-shm", "-journal"})
        std::remove((path + suffix).c_str());
    return 0;
}
