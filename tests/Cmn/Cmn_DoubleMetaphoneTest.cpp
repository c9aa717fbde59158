// Double Metaphone codes against codes published for the algorithm, the rules' own example
// words, and text that holds no letters.
#include <gtest/gtest.h>

#include "Cmn_DoubleMetaphone.h"
#include "Support/ToolRunner.h"

namespace
{
struct Case
{
    const char* mWord;
    const char* mPrimary;
    const char* mAlternate; // "" when the word has no second pronunciation
};

// clang-format off
const Case cPublished[] = {
    // names whose two codes are widely published
    {"Smith", "SM0", "XMT"}, {"Schmidt", "XMT", "SMT"}, {"aubrey", "APR", ""},
    {"richard", "RXRT", "RKRT"}, {"katherine", "K0RN", "KTRN"}, {"catherine", "K0RN", "KTRN"},
    {"Through", "0R", "TR"}, {"Schwein", "XN", "XFN"}, {"geoff", "JF", "KF"},
    {"Arnow", "ARN", "ARNF"}, {"Jose", "HS", ""}, {"zhang", "JNK", ""}, {"Tux", "TKS", ""},
    {"Parachute", "PRKT", ""}, {"Nowhere", "NR", ""}, {"Chile", "XL", ""}, {"Dallas", "TLS", ""},
    {"maurice", "MRS", ""}, {"heidi", "HT", ""}, {"Bartosz", "PRTS", "PRTX"},
    {"Bartosch", "PRTX", ""}, {"Bartos", "PRTS", ""}, {"Johnson", "JNSN", "ANSN"},
    {"Williams", "ALMS", "FLMS"}, {"Jones", "JNS", "ANS"}, {"Knight", "NT", ""},
    {"Xavier", "SF", "SFR"}, {"Michael", "MKL", "MXL"}, {"Thumbail", "0MPL", "TMPL"},
    {"Gallegos", "KLKS", "KKS"}, {"Jankelowicz", "JNKL", "ANKL"}, {"Tagliaro", "TKLR", "TLR"},
    {"Bellocchio", "PLX", ""}, {"Bacchus", "PKS", ""}, {"Biaggi", "PJ", "PK"},
    {"Hochmeier", "HKMR", ""},
    // the example words of the rules
    {"caesar", "SSR", ""}, {"danger", "TNJR", "TNKR"}, {"ranger", "RNJR", "RNKR"},
    {"orchid", "ARKT", ""}, {"architect", "ARKT", ""}, {"bacher", "PKR", ""}, {"macher", "MKR", ""},
    {"chianti", "KNT", ""}, {"czerny", "SRN", "XRN"}, {"focaccia", "FKX", ""}, {"edge", "AJ", ""},
    {"edgar", "ATKR", ""}, {"laugh", "LF", ""}, {"cabrillo", "KPRL", "KPR"}, {"dumb", "TM", ""},
    {"campbell", "KMPL", ""}, {"island", "ALNT", ""}, {"sugar", "XKR", "SKR"},
    {"school", "SKL", ""}, {"resnais", "RSN", "RSNS"}, {"breaux", "PR", ""},
    {"filipowicz", "FLPT", "FLPF"}, {"Wasserman", "ASRM", "FSRM"}, {"rogier", "RJ", "RJR"},
    {"Ça", "S", ""}, {"Año", "AN", ""},
    // case, and non-letters
    {"SMITH", "SM0", "XMT"}, {"", "", ""}, {"1234", "", ""}, {"--!", "", ""},
    {"Smith-42", "SM0", "XMT"},
};
// clang-format on

TEST(Cmn_DoubleMetaphone, EncodesPublishedCodes)
{
    for (const Case& c : cPublished)
    {
        std::string primary = "unset";
        std::string alternate = "unset";
        Cmn_EncodeDoubleMetaphone(c.mWord, &primary, &alternate);
        EXPECT_EQ(primary, c.mPrimary) << c.mWord;
        EXPECT_EQ(alternate, c.mAlternate) << c.mWord;
    }
}

TEST(Cmn_DoubleMetaphone, CodesStopAtFourCharactersAndMayBeLeftOut)
{
    std::string primary;
    Cmn_EncodeDoubleMetaphone("Brzezinski-Stravinsky", &primary, nullptr);
    EXPECT_EQ(primary.size(), 4u);
    Cmn_EncodeDoubleMetaphone("x", nullptr, nullptr); // both outputs are optional
}

TEST_F(Test_ToolTest, MetaphonePrintsBothCodes)
{
    const Test_ToolResult text = Test_RunTool("metaphone Smith", mDir.Path());
    EXPECT_EQ(text.mStatus, 0);
    EXPECT_EQ(text.mOut, "SM0\nXMT\n");
    const Test_ToolResult json = Test_RunTool("metaphone --json aubrey", mDir.Path());
    EXPECT_EQ(json.mStatus, 0);
    EXPECT_EQ(json.mOut, "{\"word\": \"aubrey\", \"primary\": \"APR\", \"alternate\": \"\"}\n");
    const Test_ToolResult missing = Test_RunTool("metaphone", mDir.Path());
    EXPECT_EQ(missing.mStatus, 1);
    EXPECT_EQ(missing.mOut, "");
}
} // namespace
