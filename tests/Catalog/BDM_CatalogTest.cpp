// A catalog of a folder answers searches as the folder itself does, and adding through the
// background work mirrors the folder.
#include <gtest/gtest.h>

#include "BDM/Adapters/FS/BFSa_Bin.h"
#include "BDM/BDM_Globals.h"
#include "BDM/BDM_TaskManager.h"
#include "Catalog/CatalogTestSupport.h"

namespace
{
const BDM_AttributeTags& T()
{
    Catalog_InitBrowser();
    return *BDM_AttributeTags::Instance();
}

// The names a search of iBin below iRoot delivers, sorted.
std::vector<std::string> Names(BDM_Bin& ioBin, const BDM_KeyHandle& iRoot,
                               const std::function<BDM_PredicateHandle(BDM_PredicateFactory&)>& iMake)
{
    auto result = ioBin.Query(iMake(*ioBin.GetPredicateFactory()), iRoot);
    std::vector<std::string> names;
    BDM_KeyHandle key;
    for (BDM_QueryResult::EResult answer; (answer = result->Next(&key, 1000)) != BDM_QueryResult::eResult_End;)
        if (answer == BDM_QueryResult::eResult_Delivered)
            names.push_back(ioBin.GetAsset(key)->GetName());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(BDM_Catalog, SearchesAgreeWithTheFolderTheCatalogIndexed)
{
    Test_TempDir dir;
    const std::string folder = dir.Path() + "/media";
    std::filesystem::create_directories(folder + "/Sub");
    const struct
    {
        const char* mName;
        const char* mFormat; // sox options
    } files[] = {
        {"kick_1.wav", "-r 48000 -b 24 -c 1"},  {"snare%.wav", "-r 44100 -b 16 -c 2"},
        {"Sub/pad.aif", "-r 96000 -b 24 -c 2"}, {"Sub/Loop.wav", "-r 48000 -b 16 -c 2"},
    };
    for (const auto& file : files)
        ASSERT_EQ(std::system(("sox -n " + std::string(file.mFormat) + " '" + folder + "/" + file.mName +
                               "' synth 0.05 sine 440 2>/dev/null")
                                  .c_str()),
                  0);
    std::ofstream(folder + "/notes.txt") << "no audio\n";

    BDM_Globals& globals = *BDM_Globals::Instance();
    BDM_BinHandle catalog =
        Catalog_Open(dir.Path() + "/c" + BDM_Catalog::cFileExtension, Cmn_Store::eOpenFlag_OpenCreate);
    BDM_LazyObjectHandle adder(
        new BDM_CatalogAdder(static_cast<BDM_Catalog&>(*catalog), {Sys_FileLoc(folder)}));
    globals.TaskManager().ManageTask(adder.Get(), "adding");
    for (int32_t slices = 0; slices < 1000 && !adder->IsLoaded() && !adder->LoadFailed(); ++slices)
        globals.Queue().ExecuteForSlice();
    ASSERT_TRUE(adder->IsLoaded());
    EXPECT_EQ(static_cast<BDM_CatalogAdder&>(*adder).GetNumAdded(), 7);
    EXPECT_FALSE(Catalog_Neo(catalog).IsInWriteTransaction()); // committed at the end

    BDM_Bin& files_ = globals.FileSystemWithFilter(BDM_Globals::eFileSystemFilter_AllFiles);
    using F = BDM_PredicateFactory;
    const auto term = [](BDM_AttributeValueHandle iValue, F::ERelation iRelation) {
        return [iValue, iRelation](F& f) { return f.MakePredicate(*iValue, iRelation); };
    };
    const auto rate = BDM_AttributeValueHandle(new BDM_TypedAttributeValue<int32_t>(&T().cAudioFileSampleRate, 48000));
    const auto depth = BDM_AttributeValueHandle(new BDM_TypedAttributeValue<int16_t>(&T().cAudioFileBitDepth, 24));
    const auto channels = BDM_AttributeValueHandle(new BDM_TypedAttributeValue<int16_t>(&T().cAudioFileNumChannels, 2));
    const auto percent = BDM_AttributeValueHandle(new BDM_TypedAttributeValue<std::string>(&T().cFileName, "%."));
    const auto underscore = BDM_AttributeValueHandle(new BDM_TypedAttributeValue<std::string>(&T().cFileName, "K_"));
    const std::vector<std::pair<const char*, std::function<BDM_PredicateHandle(F&)>>> cases = {
        {"rate =", term(rate, F::eRelation_Equal)},
        {"rate !=", term(rate, F::eRelation_NotEqual)},
        {"rate >", term(rate, F::eRelation_Greater)},
        {"depth <", term(depth, F::eRelation_Less)},
        {"channels >=", term(channels, F::eRelation_GreaterOrEqual)},
        {"channels <=", term(channels, F::eRelation_LessOrEqual)},
        {"name ~ %.", term(percent, F::eRelation_Contains)},
        {"name ~ K_", term(underscore, F::eRelation_Contains)},
        {"rate = and channels >=",
         [&](F& f) { return f.And(term(rate, F::eRelation_Equal)(f), term(channels, F::eRelation_GreaterOrEqual)(f)); }},
        {"depth < or name ~ K_",
         [&](F& f) { return f.Or(term(depth, F::eRelation_Less)(f), term(underscore, F::eRelation_Contains)(f)); }},
    };
    BDM_KeyHandle top = Catalog_Neo(catalog).FindChild(catalog->GetRoot(), "media");
    ASSERT_TRUE(top);
    for (const auto& [name, make] : cases)
    {
        const std::vector<std::string> fromFolder = Names(files_, BFSa_Bin::MakeKey(Sys_FileLoc(folder)), make);
        EXPECT_FALSE(fromFolder.empty()) << name;
        EXPECT_EQ(Names(*catalog, catalog->GetRoot(), make), fromFolder) << name;
        EXPECT_EQ(Names(*catalog, top, make), fromFolder) << name;
    }
}
} // namespace
