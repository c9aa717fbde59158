// Which asset kind has which attribute, and which of them a user may change.
//
// One map per BDM_EAssetType value (13), from tag to a modifiable flag. InitializeSchema
// runs once at start-up (asserting "sSchema.empty()") before any asset is asked a question;
// ask HasAttribute before AttributeIsModifiable, which is not defined for a tag outside the
// kind's row (it asserts here).
#pragma once

#include <map>
#include <vector>

#include "BDM/BDM_AttributeTag.h"

class BDM_Schema
{
public:
    static void InitializeSchema();
    static bool IsInitialized() { return !sSchema.empty(); }
    static bool HasAttribute(BDM_EAssetType iType, const BDM_AttributeTag& iTag);
    static bool AttributeIsModifiable(BDM_EAssetType iType, const BDM_AttributeTag& iTag);
    // The tags of one kind's row (in tag address order).
    static std::vector<const BDM_AttributeTag*> GetAttributes(BDM_EAssetType iType);

private:
    using Row = std::map<const BDM_AttributeTag*, bool>;
    static const Row& GetRow(BDM_EAssetType iType);
    static std::vector<Row> sSchema;
};
