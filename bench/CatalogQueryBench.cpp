// Searching a catalog: a query of three terms over 100,000 entries, read to the end.
//
// The catalog (made once under the temporary folder) holds 100,000 audio entries in 100
// folders, with sample rates 44,100 / 48,000 / 96,000, bit depths 16 / 24 and names
// "takeNNNNNN.wav". The query: sample rate >= 48,000 and bit depth = 24 and the name contains
// "take01"; it matches 3,334 rows. Each iteration makes the query and takes every key.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "BDM/Adapters/Neo/BDM_Catalog.h"
#include "BDM/Adapters/Neo/BNeoa_Database.h"
#include "BDM/BDM_Schema.h"

namespace
{
constexpr int32_t cRows = 100000;

BNeoa_Bin& Catalog()
{
    static BDM_BinHandle sBin = [] {
        BDM_AttributeTags::Instance();
        if (!BDM_Schema::IsInitialized())
            BDM_Schema::InitializeSchema();
        const std::string path = std::filesystem::temp_directory_path().string() +
                                 "/CatalogQueryBench-" + std::to_string(::getpid()) +
                                 BDM_Catalog::cFileExtension;
        BDM_BinHandle bin(new BDM_Catalog(Sys_FileLoc(path), nullptr));
        bin->Open(Cmn_Store::eOpenFlag_OpenCreate);
        BNeoa_Bin& neo = static_cast<BNeoa_Bin&>(*bin);
        neo.BeginWrite();
        BNeoa_Statement insert(neo.GetConnection(),
                               "INSERT INTO Asset (ParentID, AssetType, AssetTypeValidity, FileName, "
                               "FileNameValidity, AudioFileSampleRate, AudioFileSampleRateValidity, "
                               "AudioFileBitDepth, AudioFileBitDepthValidity) "
                               "VALUES (?1, 2, 1, ?2, 1, ?3, 1, ?4, 1)");
        BDM_KeyHandle folder;
        const int32_t rates[] = {44100, 48000, 96000};
        for (int32_t i = 0; i < cRows; ++i)
        {
            if (i % 1000 == 0)
                folder = neo.CreateFolder(neo.GetRoot(), "folder" + std::to_string(i / 1000));
            char name[32];
            std::snprintf(name, sizeof name, "take%06d.wav", i);
            insert.Reset();
            insert.BindInt(1, static_cast<const BNeoa_Key&>(*folder).GetID())
                .BindText(2, name)
                .BindInt(3, rates[i % 3])
                .BindInt(4, i % 2 ? 24 : 16);
            insert.Step();
        }
        neo.Commit();
        std::filesystem::remove(path); // the open connection keeps it to the end
        return bin;
    }();
    return static_cast<BNeoa_Bin&>(*sBin);
}

void BM_CatalogQueryThreeTerms(benchmark::State& ioState)
{
    BNeoa_Bin& bin = Catalog();
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    BDM_PredicateFactory& f = *bin.GetPredicateFactory();
    const BDM_TypedAttributeValue<int32_t> rate(&t.cAudioFileSampleRate, 48000);
    const BDM_TypedAttributeValue<int16_t> depth(&t.cAudioFileBitDepth, 24);
    const BDM_TypedAttributeValue<std::string> name(&t.cFileName, "take01");
    int64_t found = 0;
    for (auto _ : ioState)
    {
        auto result = bin.Query(
            f.And(f.And(f.MakePredicate(rate, BDM_PredicateFactory::eRelation_GreaterOrEqual),
                        f.MakePredicate(depth, BDM_PredicateFactory::eRelation_Equal)),
                  f.MakePredicate(name, BDM_PredicateFactory::eRelation_Contains)),
            bin.GetRoot());
        BDM_KeyHandle key;
        found = 0;
        for (BDM_QueryResult::EResult answer;
             (answer = result->Next(&key, 1000)) != BDM_QueryResult::eResult_End;)
            found += answer == BDM_QueryResult::eResult_Delivered;
    }
    ioState.counters["matches"] = double(found);
}
BENCHMARK(BM_CatalogQueryThreeTerms)->Unit(benchmark::kMillisecond);
} // namespace
