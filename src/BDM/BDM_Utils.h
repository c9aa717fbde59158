// Helpers of the browser model: asset kinds, file-type filters, and names.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "BDM/BDM_AttributeTag.h"
#include "BDM/BDM_Types.h"
#include "Sys_FileType.h"

class BDM_Asset;
class BDM_Bin;

class BDM_Utils
{
public:
    // True for Folder, Group, Task, CatalogRoot, VolumeRoot and Root; false for all else.
    static bool IsAssetContainerType(BDM_EAssetType iType);
    // The file types of a file format (a one-element list), or an empty list.
    static std::vector<Sys_FileType> FilterFromFileFormat(BDM_EFileFormat iFormat);
    // The file types that make up an asset kind; 0 is the all-files filter.
    static std::vector<Sys_FileType> FilterFromAssetType(BDM_EAssetType iType);
    // The catalog type, the folder type, every readable audio type and the session types,
    // newest first.
    static std::vector<Sys_FileType> AllFilesFilter();

    // File names as the file system compares them: case-insensitive (ASCII letters; other
    // bytes as they stand). Equality compares the lengths first.
    static bool NameLess(const std::string& iLhs, const std::string& iRhs);
    static bool NamesEqual(const std::string& iLhs, const std::string& iRhs);

    // The name of a tag's constant without its leading "c" ("FileName"), and the tag of such
    // a name (ASCII case ignored; null when there is none).
    static std::string GetTagName(const BDM_AttributeTag& iTag);
    static const BDM_AttributeTag* FindTag(const std::string& iName);
    // The value type of a tag as a short word: "string", "int64", "bool", "kind", ...
    static std::string GetTagTypeName(const BDM_AttributeTag& iTag);
    // The name of an asset kind ("Folder", "Audio", ...).
    static std::string GetAssetTypeName(BDM_EAssetType iType);

    // The terms of a search box's text: white space ends a term outside double quotes; a
    // quote opens or closes a quoted term (ending the term at hand); empty terms are dropped;
    // an unclosed quote is no error.
    static void ExtractSearchTerms(const std::string& iText, std::list<std::string>* oTermsP);

    // Whether iName may name an item: not empty, no illegal character. On refusal *oMessageP
    // (may be null) gets the user's text: "" for an empty name, resource 1274 with the
    // characters found for an illegal one.
    static bool IsValidName(const std::string& iName, std::string* oMessageP);

    // The tags that an entry keeps for itself, whatever its file says: the asset name, the
    // comment and the user timestamp.
    static std::vector<const BDM_AttributeTag*> GetAliasAttributeTags();
    // Copies those of iSource's attributes that are set onto the entry iDestinationKey of
    // iBin (each source attribute read, the destination's written where the entry has one);
    // how many were written.
    static int32_t TransferAliasAttributes(BDM_Bin& iBin, BDM_Asset& iSource,
                                           const BDM_KeyHandle& iDestinationKey);
};
