// Double Metaphone: the rules walk the upper-cased word letter by letter; each rule looks at
// the letters around the current one, adds to the primary code, the alternate code or both,
// and moves on by one or more letters. The word is padded with blanks so that a rule may look
// past its end; looks before its start find nothing.
#include "Cmn_DoubleMetaphone.h"

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace
{
// Single-byte stand-ins for the two accented letters that have rules of their own.
constexpr char cCCedilla = '\x01';
constexpr char cNTilde = '\x02';
constexpr std::size_t cMaxCodeLength = 4;

class Encoder
{
public:
    explicit Encoder(const std::string& iText)
    {
        for (std::size_t i = 0; i < iText.size(); ++i)
        {
            const unsigned char c = static_cast<unsigned char>(iText[i]);
            if (c == 0xC3 && i + 1 < iText.size())
            {
                const unsigned char next = static_cast<unsigned char>(iText[i + 1]);
                if (next == 0x87 || next == 0xA7)
                {
                    mWord += cCCedilla;
                    ++i;
                    continue;
                }
                if (next == 0x91 || next == 0xB1)
                {
                    mWord += cNTilde;
                    ++i;
                    continue;
                }
            }
            mWord += (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : char(c);
        }
        mLength = static_cast<int>(mWord.size());
        mLast = mLength - 1;
        mWord += "     ";
    }

    void Run();

    std::string mPrimary;
    std::string mSecondary;
    bool mAlternate = false;

private:
    char At(int iPos) const
    {
        return (iPos < 0 || iPos >= static_cast<int>(mWord.size())) ? '\0' : mWord[iPos];
    }
    bool IsVowel(int iPos) const
    {
        if (iPos < 0 || iPos >= mLength)
            return false;
        const char c = mWord[iPos];
        return c == 'A' || c == 'E' || c == 'I' || c == 'O' || c == 'U' || c == 'Y';
    }
    // Whether one of iCandidates (all of one length) stands at iStart.
    bool StringAt(int iStart, std::initializer_list<std::string_view> iCandidates) const
    {
        if (iStart < 0)
            return false;
        for (std::string_view candidate : iCandidates)
            if (iStart + candidate.size() <= mWord.size() &&
                std::string_view(mWord).substr(iStart, candidate.size()) == candidate)
                return true;
        return false;
    }
    bool SlavoGermanic() const
    {
        return mWord.find('W') != std::string::npos || mWord.find('K') != std::string::npos ||
               mWord.find("CZ") != std::string::npos || mWord.find("WITZ") != std::string::npos;
    }
    bool Germanic() const { return StringAt(0, {"VAN ", "VON "}) || StringAt(0, {"SCH"}); }

    void Add(std::string_view iMain)
    {
        mPrimary += iMain;
        mSecondary += iMain;
    }
    // A blank as iAlt means "nothing in the alternate", which still marks one.
    void Add(std::string_view iMain, std::string_view iAlt)
    {
        mPrimary += iMain;
        if (!iAlt.empty())
        {
            mAlternate = true;
            if (iAlt[0] != ' ')
                mSecondary += iAlt;
        }
        else if (!iMain.empty() && iMain[0] != ' ')
            mSecondary += iMain;
    }

    int C(int iCur);
    int G(int iCur);
    int J(int iCur);
    int S(int iCur);
    int T(int iCur);
    int W(int iCur);

    std::string mWord;
    int mLength = 0;
    int mLast = 0;
};

int Encoder::C(int cur)
{
    // Germanic "-ach-": "bacher", "macher"
    if (cur > 1 && !IsVowel(cur - 2) && StringAt(cur - 1, {"ACH"}) && At(cur + 2) != 'I' &&
        (At(cur + 2) != 'E' || StringAt(cur - 2, {"BACHER", "MACHER"})))
    {
        Add("K");
        return cur + 2;
    }
    if (cur == 0 && StringAt(cur, {"CAESAR"}))
    {
        Add("S");
        return cur + 2;
    }
    if (StringAt(cur, {"CHIA"})) // "chianti"
    {
        Add("K");
        return cur + 2;
    }
    if (StringAt(cur, {"CH"}))
    {
        if (cur > 0 && StringAt(cur, {"CHAE"})) // "michael"
        {
            Add("K", "X");
            return cur + 2;
        }
        // Greek roots: "chemistry", "chorus"
        if (cur == 0 &&
            (StringAt(cur + 1, {"HARAC", "HARIS"}) || StringAt(cur + 1, {"HOR", "HYM", "HIA", "HEM"})) &&
            !StringAt(0, {"CHORE"}))
        {
            Add("K");
            return cur + 2;
        }
        if (Germanic() || StringAt(cur - 2, {"ORCHES", "ARCHIT", "ORCHID"}) ||
            StringAt(cur + 2, {"T", "S"}) ||
            ((StringAt(cur - 1, {"A", "O", "U", "E"}) || cur == 0) &&
             StringAt(cur + 2, {"L", "R", "N", "M", "B", "H", "F", "V", "W", " "})))
            Add("K");
        else if (cur > 0)
        {
            if (StringAt(0, {"MC"})) // "McHugh"
                Add("K");
            else
                Add("X", "K");
        }
        else
            Add("X");
        return cur + 2;
    }
    if (StringAt(cur, {"CZ"}) && !StringAt(cur - 2, {"WICZ"})) // "czerny"
    {
        Add("S", "X");
        return cur + 2;
    }
    if (StringAt(cur + 1, {"CIA"})) // "focaccia"
    {
        Add("X");
        return cur + 3;
    }
    // A double C, but not as in "McClellan"
    if (StringAt(cur, {"CC"}) && !(cur == 1 && At(0) == 'M'))
    {
        // "bellocchio" but not "bacchus"
        if (StringAt(cur + 2, {"I", "E", "H"}) && !StringAt(cur + 2, {"HU"}))
        {
            // "accident", "accede", "succeed"
            if ((cur == 1 && At(cur - 1) == 'A') || StringAt(cur - 1, {"UCCEE", "UCCES"}))
                Add("KS");
            else // "bacci", "bertucci"
                Add("X");
            return cur + 3;
        }
        Add("K");
        return cur + 2;
    }
    if (StringAt(cur, {"CK", "CG", "CQ"}))
    {
        Add("K");
        return cur + 2;
    }
    if (StringAt(cur, {"CI", "CE", "CY"}))
    {
        if (StringAt(cur, {"CIO", "CIE", "CIA"}))
            Add("S", "X");
        else
            Add("S");
        return cur + 2;
    }
    Add("K");
    // "mac caffrey", "mac gregor"
    if (StringAt(cur + 1, {" C", " Q", " G"}))
        return cur + 3;
    if (StringAt(cur + 1, {"C", "K", "Q"}) && !StringAt(cur + 1, {"CE", "CI"}))
        return cur + 2;
    return cur + 1;
}

int Encoder::G(int cur)
{
    if (At(cur + 1) == 'H')
    {
        if (cur > 0 && !IsVowel(cur - 1))
        {
            Add("K");
            return cur + 2;
        }
        if (cur == 0) // "ghislane", "ghiradelli"
        {
            Add(At(cur + 2) == 'I' ? "J" : "K");
            return cur + 2;
        }
        // "hugh", "bough", "broughton"
        if ((cur > 1 && StringAt(cur - 2, {"B", "H", "D"})) ||
            (cur > 2 && StringAt(cur - 3, {"B", "H", "D"})) || (cur > 3 && StringAt(cur - 4, {"B", "H"})))
            return cur + 2;
        // "laugh", "McLaughlin", "cough", "rough", "tough"
        if (cur > 2 && At(cur - 1) == 'U' && StringAt(cur - 3, {"C", "G", "L", "R", "T"}))
            Add("F");
        else if (cur > 0 && At(cur - 1) != 'I')
            Add("K");
        return cur + 2;
    }
    if (At(cur + 1) == 'N')
    {
        if (cur == 1 && IsVowel(0) && !SlavoGermanic())
            Add("KN", "N");
        else if (!StringAt(cur + 2, {"EY"}) && At(cur + 1) != 'Y' && !SlavoGermanic()) // not "cagney"
            Add("N", "KN");
        else
            Add("KN");
        return cur + 2;
    }
    if (StringAt(cur + 1, {"LI"}) && !SlavoGermanic()) // "tagliaro"
    {
        Add("KL", "L");
        return cur + 2;
    }
    // -ges-, -gep-, -gel-, -gie- at the start
    if (cur == 0 && (At(cur + 1) == 'Y' || StringAt(cur + 1, {"ES", "EP", "EB", "EL", "EY", "IB", "IL",
                                                              "IN", "IE", "EI", "ER"})))
    {
        Add("K", "J");
        return cur + 2;
    }
    // -ger-, -gy-
    if ((StringAt(cur + 1, {"ER"}) || At(cur + 1) == 'Y') &&
        !StringAt(0, {"DANGER", "RANGER", "MANGER"}) && !StringAt(cur - 1, {"E", "I"}) &&
        !StringAt(cur - 1, {"RGY", "OGY"}))
    {
        Add("K", "J");
        return cur + 2;
    }
    // Italian: "biaggi"
    if (StringAt(cur + 1, {"E", "I", "Y"}) || StringAt(cur - 1, {"AGGI", "OGGI"}))
    {
        if (Germanic() || StringAt(cur + 1, {"ET"}))
            Add("K");
        else if (StringAt(cur + 1, {"IER "})) // always soft in a French ending
            Add("J");
        else
            Add("J", "K");
        return cur + 2;
    }
    Add("K");
    return At(cur + 1) == 'G' ? cur + 2 : cur + 1;
}

int Encoder::J(int cur)
{
    // Spanish: "jose", "san jacinto"
    if (StringAt(cur, {"JOSE"}) || StringAt(0, {"SAN "}))
    {
        if ((cur == 0 && At(cur + 4) == ' ') || StringAt(0, {"SAN "}))
            Add("H");
        else
            Add("J", "H");
        return cur + 1;
    }
    if (cur == 0 && !StringAt(cur, {"JOSE"}))
        Add("J", "A"); // "Yankelovich" / "Jankelowicz"
    else if (IsVowel(cur - 1) && !SlavoGermanic() && (At(cur + 1) == 'A' || At(cur + 1) == 'O'))
        Add("J", "H"); // Spanish "bajador"
    else if (cur == mLast)
        Add("J", " ");
    else if (!StringAt(cur + 1, {"L", "T", "K", "S", "N", "M", "B", "Z"}) &&
             !StringAt(cur - 1, {"S", "K", "L"}))
        Add("J");
    return At(cur + 1) == 'J' ? cur + 2 : cur + 1;
}

int Encoder::S(int cur)
{
    if (StringAt(cur - 1, {"ISL", "YSL"})) // "island", "isle", "carlisle"
        return cur + 1;
    if (cur == 0 && StringAt(cur, {"SUGAR"}))
    {
        Add("X", "S");
        return cur + 1;
    }
    if (StringAt(cur, {"SH"}))
    {
        Add(StringAt(cur + 1, {"HEIM", "HOEK", "HOLM", "HOLZ"}) ? "S" : "X");
        return cur + 2;
    }
    // Italian and Armenian
    if (StringAt(cur, {"SIO", "SIA"}) || StringAt(cur, {"SIAN"}))
    {
        if (!SlavoGermanic())
            Add("S", "X");
        else
            Add("S");
        return cur + 3;
    }
    // "smith" to match "schmidt", "snider" to match "schneider"; also a Slavic "-sz-"
    if ((cur == 0 && StringAt(cur + 1, {"M", "N", "L", "W"})) || StringAt(cur + 1, {"Z"}))
    {
        Add("S", "X");
        return StringAt(cur + 1, {"Z"}) ? cur + 2 : cur + 1;
    }
    if (StringAt(cur, {"SC"}))
    {
        if (At(cur + 2) == 'H')
        {
            // Dutch: "school", "schooner"; "schermerhorn", "schenker"
            if (StringAt(cur + 3, {"OO", "ER", "EN", "UY", "ED", "EM"}))
            {
                if (StringAt(cur + 3, {"ER", "EN"}))
                    Add("X", "SK");
                else
                    Add("SK");
                return cur + 3;
            }
            if (cur == 0 && !IsVowel(3) && At(3) != 'W')
                Add("X", "S");
            else
                Add("X");
            return cur + 3;
        }
        Add(StringAt(cur + 2, {"I", "E", "Y"}) ? "S" : "SK");
        return cur + 3;
    }
    // French: "resnais", "artois"
    if (cur == mLast && StringAt(cur - 2, {"AI", "OI"}))
        Add("", "S");
    else
        Add("S");
    return StringAt(cur + 1, {"S", "Z"}) ? cur + 2 : cur + 1;
}

int Encoder::T(int cur)
{
    if (StringAt(cur, {"TION"}))
    {
        Add("X");
        return cur + 3;
    }
    if (StringAt(cur, {"TIA", "TCH"}))
    {
        Add("X");
        return cur + 3;
    }
    if (StringAt(cur, {"TH"}) || StringAt(cur, {"TTH"}))
    {
        // "thomas", "thames", or Germanic
        if (StringAt(cur + 2, {"OM", "AM"}) || Germanic())
            Add("T");
        else
            Add("0", "T");
        return cur + 2;
    }
    Add("T");
    return StringAt(cur + 1, {"T", "D"}) ? cur + 2 : cur + 1;
}

int Encoder::W(int cur)
{
    if (StringAt(cur, {"WR"}))
    {
        Add("R");
        return cur + 2;
    }
    if (cur == 0 && (IsVowel(cur + 1) || StringAt(cur, {"WH"})))
    {
        // "Wasserman" to match "Vasserman"; "Uomo" to match "Womo"
        if (IsVowel(cur + 1))
            Add("A", "F");
        else
            Add("A");
    }
    // "Arnow" to match "Arnoff"
    if ((cur == mLast && IsVowel(cur - 1)) ||
        StringAt(cur - 1, {"EWSKI", "EWSKY", "OWSKI", "OWSKY"}) || StringAt(0, {"SCH"}))
    {
        Add("", "F");
        return cur + 1;
    }
    if (StringAt(cur, {"WICZ", "WITZ"})) // Polish: "filipowicz"
    {
        Add("TS", "FX");
        return cur + 4;
    }
    return cur + 1;
}

void Encoder::Run()
{
    if (mLength < 1)
        return;
    int cur = 0;
    if (StringAt(0, {"GN", "KN", "PN", "WR", "PS"}))
        cur = 1;
    if (At(0) == 'X') // an initial X sounds as Z: "Xavier"
    {
        Add("S");
        cur = 1;
    }
    while ((mPrimary.size() < cMaxCodeLength || mSecondary.size() < cMaxCodeLength) && cur < mLength)
    {
        const char c = At(cur);
        switch (c)
        {
        case 'A':
        case 'E':
        case 'I':
        case 'O':
        case 'U':
        case 'Y':
            if (cur == 0) // every initial vowel is an A
                Add("A");
            ++cur;
            break;
        case 'B': // "-mb" as in "dumb" was passed over by the M
            Add("P");
            cur += At(cur + 1) == 'B' ? 2 : 1;
            break;
        case cCCedilla:
            Add("S");
            ++cur;
            break;
        case 'C':
            cur = C(cur);
            break;
        case 'D':
            if (StringAt(cur, {"DG"}))
            {
                if (StringAt(cur + 2, {"I", "E", "Y"})) // "edge"
                {
                    Add("J");
                    cur += 3;
                }
                else // "edgar"
                {
                    Add("TK");
                    cur += 2;
                }
                break;
            }
            Add("T");
            cur += StringAt(cur, {"DT", "DD"}) ? 2 : 1;
            break;
        case 'F':
        case 'K':
        case 'N':
        case 'Q':
        case 'V':
            Add(c == 'F' || c == 'V' ? "F" : c == 'N' ? "N" : "K");
            cur += At(cur + 1) == c ? 2 : 1;
            break;
        case 'G':
            cur = G(cur);
            break;
        case 'H':
            // kept only first or after a vowel, and before a vowel
            if ((cur == 0 || IsVowel(cur - 1)) && IsVowel(cur + 1))
            {
                Add("H");
                cur += 2;
            }
            else
                ++cur;
            break;
        case 'J':
            cur = J(cur);
            break;
        case 'L':
            if (At(cur + 1) == 'L')
            {
                // Spanish: "cabrillo", "gallegos"
                if ((cur == mLength - 3 && StringAt(cur - 1, {"ILLO", "ILLA", "ALLE"})) ||
                    ((StringAt(mLast - 1, {"AS", "OS"}) || StringAt(mLast, {"A", "O"})) &&
                     StringAt(cur - 1, {"ALLE"})))
                {
                    Add("L", " ");
                    cur += 2;
                    break;
                }
                cur += 2;
            }
            else
                ++cur;
            Add("L");
            break;
        case 'M':
            // "dumb", "thumb"
            if ((StringAt(cur - 1, {"UMB"}) && (cur + 1 == mLast || StringAt(cur + 2, {"ER"}))) ||
                At(cur + 1) == 'M')
                cur += 2;
            else
                ++cur;
            Add("M");
            break;
        case cNTilde:
            Add("N");
            ++cur;
            break;
        case 'P':
            if (At(cur + 1) == 'H')
            {
                Add("F");
                cur += 2;
                break;
            }
            // "campbell", "raspberry"
            cur += StringAt(cur + 1, {"P", "B"}) ? 2 : 1;
            Add("P");
            break;
        case 'R':
            // French "rogier", but not "hochmeier"
            if (cur == mLast && !SlavoGermanic() && StringAt(cur - 2, {"IE"}) &&
                !StringAt(cur - 4, {"ME", "MA"}))
                Add("", "R");
            else
                Add("R");
            cur += At(cur + 1) == 'R' ? 2 : 1;
            break;
        case 'S':
            cur = S(cur);
            break;
        case 'T':
            cur = T(cur);
            break;
        case 'W':
            cur = W(cur);
            break;
        case 'X':
            // French: "breaux"
            if (!(cur == mLast && (StringAt(cur - 3, {"IAU", "EAU"}) || StringAt(cur - 2, {"AU", "OU"}))))
                Add("KS");
            cur += StringAt(cur + 1, {"C", "X"}) ? 2 : 1;
            break;
        case 'Z':
            if (At(cur + 1) == 'H') // Chinese pinyin: "zhao"
            {
                Add("J");
                cur += 2;
                break;
            }
            if (StringAt(cur + 1, {"ZO", "ZI", "ZA"}) || (SlavoGermanic() && cur > 0 && At(cur - 1) != 'T'))
                Add("S", "TS");
            else
                Add("S");
            cur += At(cur + 1) == 'Z' ? 2 : 1;
            break;
        default:
            ++cur;
        }
    }
}
} // namespace

void Cmn_EncodeDoubleMetaphone(const std::string& iText, std::string* oPrimary,
                               std::string* oAlternate)
{
    Encoder encoder(iText);
    encoder.Run();
    std::string primary = encoder.mPrimary.substr(0, cMaxCodeLength);
    std::string alternate = encoder.mSecondary.substr(0, cMaxCodeLength);
    if (!encoder.mAlternate || alternate == primary)
        alternate.clear();
    if (oPrimary)
        *oPrimary = primary;
    if (oAlternate)
        *oAlternate = alternate;
}
