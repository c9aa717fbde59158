// Attributes of assets, detached attribute values, and sort orders.
//
// A BDM_Attribute is one attribute of one asset: it has a tag, may have a value, and tells
// its observers of every change. A BDM_AttributeValue is a value free of any asset (queries
// and sort keys carry them); one made from a tag alone is empty.
//
// Rules every typed attribute keeps:
//  1. LessThan: an attribute without a value orders before one with a value; two without are
//     not less; two with values compare by the value type's order (BDM_ValueLess).
//  2. EqualTo demands values on both sides: comparing an unset attribute for equality fails
//     the assertion "this->GetValue( &lhs )" (or the right-hand one).
//  3. Any comparison or Assign between attributes of different tags is an assertion.
//  4. A cached attribute's Set stores, marks set and notifies always, also when the value
//     did not change. Assign from an unset attribute leaves this one as it was.
// Names (BDM_StringAttribute) compare as file names: case-insensitive, lengths first for
// equality. Not thread-safe: an asset's attributes live on the browser's thread.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "BDM/BDM_AttributeTag.h"
#include "Cmn_Assert.h"
#include "Cmn_Observable.h"
#include "Cmn_RefCountObject.h"

class BDM_Asset;

// ---- detached values ---------------------------------------------------------------------

class BDM_AttributeValue : public Cmn_RefCountObject
{
public:
    explicit BDM_AttributeValue(const BDM_AttributeTag* iTagP) : mTag(iTagP), mEmpty(true) {}
    ~BDM_AttributeValue() override = default;

    // Same tag and both empty (the typed override: both set and equal values).
    virtual bool EqualTo(const BDM_AttributeValue& iRhs) const
    {
        return mEmpty == iRhs.mEmpty && mTag == iRhs.mTag;
    }
    // Only between values of one tag that are both set or both empty: asserts
    // "mTag == inRhs.mTag" and "mEmpty == inRhs.mEmpty".
    virtual void Assign(const BDM_AttributeValue& inRhs)
    {
        CMN_ASSERT(mTag == inRhs.mTag);
        CMN_ASSERT(mEmpty == inRhs.mEmpty);
    }
    virtual BDM_AttributeValue& operator=(const BDM_AttributeValue& inRhs)
    {
        Assign(inRhs);
        return *this;
    }

    const BDM_AttributeTag* GetTag() const { return mTag; }
    bool IsEmpty() const { return mEmpty; }

protected:
    BDM_AttributeValue(const BDM_AttributeTag* iTagP, bool iEmpty) : mTag(iTagP), mEmpty(iEmpty) {}

    const BDM_AttributeTag* mTag;
    bool mEmpty;
};

using BDM_AttributeValueHandle = Cmn_AliasedRefCountPtr<BDM_AttributeValue>;

template <class T> class BDM_TypedAttributeValue : public BDM_AttributeValue
{
public:
    BDM_TypedAttributeValue(const BDM_AttributeTag* iTagP, const T& iValue)
        : BDM_AttributeValue(iTagP, false), mValue(iValue)
    {
    }

    bool EqualTo(const BDM_AttributeValue& iRhs) const override
    {
        if (mEmpty || iRhs.IsEmpty() || mTag != iRhs.GetTag())
            return false;
        return BDM_ValueEqual(mValue, static_cast<const BDM_TypedAttributeValue&>(iRhs).mValue);
    }
    void Assign(const BDM_AttributeValue& inRhs) override
    {
        BDM_AttributeValue::Assign(inRhs);
        if (!mEmpty)
            mValue = static_cast<const BDM_TypedAttributeValue&>(inRhs).mValue;
    }

    const T& GetValue() const { return mValue; }

private:
    T mValue;
};

// ---- attributes --------------------------------------------------------------------------

class BDM_Attribute : public Cmn_Observable<BDM_Attribute>
{
public:
    explicit BDM_Attribute(const BDM_AttributeTag& iTag) : mTag(iTag) {}
    ~BDM_Attribute() override = default;
    BDM_Attribute(const BDM_Attribute&) = delete;
    BDM_Attribute& operator=(const BDM_Attribute&) = delete;

    virtual void AddObserver(Observer& iObserver) { Cmn_Observable::AddObserver(iObserver); }
    virtual void RemoveObserver(Observer& iObserver) { Cmn_Observable::RemoveObserver(iObserver); }
    // Whether the owner deletes this attribute (false for one embedded in a store's record).
    virtual bool IsHeapAllocated() const { return true; }
    virtual bool LessThan(const BDM_Attribute& iRhs) const = 0;
    virtual bool EqualTo(const BDM_Attribute& iRhs) const = 0;
    // A new detached value: empty (with the tag) when the attribute has none.
    virtual BDM_AttributeValueHandle GetValue() const = 0;
    // Takes iAttribute's value, if it has one; asserts the same tag.
    virtual void Assign(const BDM_Attribute& iAttribute) = 0;

    const BDM_AttributeTag& GetTag() const { return mTag; }

protected:
    void AssertSameTag(const BDM_Attribute& iRhs) const
    {
        CMN_ASSERT(&this->GetTag() == &iRhs.GetTag());
    }
    void NotifyChanged() { NotifyObservers(*this); }

private:
    const BDM_AttributeTag& mTag;
};

template <class T> class BDM_TypedAttribute : public BDM_Attribute
{
public:
    using ValueType = T;
    explicit BDM_TypedAttribute(const BDM_TypedAttributeTag<T>& iTag) : BDM_Attribute(iTag) {}

    virtual bool IsSet() const = 0;
    // Copies the value out; false (and *oValueP untouched) when there is none.
    virtual bool GetValue(T* oValueP) const = 0;
    virtual void Set(const T& iValue) = 0;

    using BDM_Attribute::GetValue;
    BDM_AttributeValueHandle GetValue() const override
    {
        T value{};
        if (!GetValue(&value))
            return BDM_AttributeValueHandle(new BDM_AttributeValue(&GetTag()));
        return BDM_AttributeValueHandle(new BDM_TypedAttributeValue<T>(&GetTag(), value));
    }

    bool LessThan(const BDM_Attribute& iRhs) const override
    {
        AssertSameTag(iRhs);
        T lhs{}, rhs{};
        const bool hasLhs = GetValue(&lhs);
        const bool hasRhs = static_cast<const BDM_TypedAttribute&>(iRhs).GetValue(&rhs);
        if (!hasLhs || !hasRhs)
            return !hasLhs && hasRhs;
        return Less(lhs, rhs);
    }
    bool EqualTo(const BDM_Attribute& iRhs) const override
    {
        AssertSameTag(iRhs);
        T lhs{}, rhs{};
        CMN_ASSERT_TEXT(this->GetValue(&lhs), "this->GetValue( &lhs )");
        CMN_ASSERT_TEXT(static_cast<const BDM_TypedAttribute<T>*>(&iRhs)->GetValue(&rhs),
                        "static_cast<const BDM_TypedAttribute<T>*>( &iRhs )->GetValue( &rhs )");
        return Equal(lhs, rhs);
    }
    void Assign(const BDM_Attribute& iAttribute) override
    {
        CMN_ASSERT_TEXT(&this->GetTag() == &iAttribute.GetTag(),
                        "&this->GetTag() == &iAttribute.GetTag()");
        T value{};
        if (static_cast<const BDM_TypedAttribute&>(iAttribute).GetValue(&value))
            Set(value);
    }

protected:
    virtual bool Less(const T& iLhs, const T& iRhs) const { return BDM_ValueLess(iLhs, iRhs); }
    virtual bool Equal(const T& iLhs, const T& iRhs) const { return BDM_ValueEqual(iLhs, iRhs); }
};

// An attribute that holds its value and set flag itself.
template <class T> class BDM_TypedCachedAttribute : public BDM_TypedAttribute<T>
{
public:
    explicit BDM_TypedCachedAttribute(const BDM_TypedAttributeTag<T>& iTag)
        : BDM_TypedAttribute<T>(iTag)
    {
    }
    BDM_TypedCachedAttribute(const BDM_TypedAttributeTag<T>& iTag, const T& iValue)
        : BDM_TypedAttribute<T>(iTag), mValue(iValue), mSet(true)
    {
    }

    bool IsSet() const override { return mSet; }
    using BDM_TypedAttribute<T>::GetValue;
    bool GetValue(T* oValueP) const override
    {
        if (mSet)
            *oValueP = mValue;
        return mSet;
    }
    void Set(const T& iValue) override
    {
        mValue = iValue;
        mSet = true;
        this->NotifyChanged();
    }

protected:
    T mValue{};
    bool mSet = false;
};

// The comparison of file names: case-insensitive; for equality the lengths first.
class BDM_StringAttribute : public BDM_TypedCachedAttribute<std::string>
{
public:
    using BDM_TypedCachedAttribute::BDM_TypedCachedAttribute;

protected:
    bool Less(const std::string& iLhs, const std::string& iRhs) const override;
    bool Equal(const std::string& iLhs, const std::string& iRhs) const override;
};

// The state of an asset (column "S"): asks the asset each time; always has a value.
class BDM_AssetStatusAttribute : public BDM_TypedCachedAttribute<BDM_EStatus>
{
public:
    explicit BDM_AssetStatusAttribute(BDM_Asset& iAsset);
    using BDM_TypedCachedAttribute::GetValue;
    bool GetValue(BDM_EStatus* oValueP) const override;

private:
    BDM_Asset* mAssetP;
};

// The checked accessor: asserts "iAttribute->GetTag() == iTag", then the typed GetValue.
template <class T>
bool BDM_GetAttributeValue(const BDM_TypedAttributeTag<T>& iTag, const BDM_Attribute* iAttribute,
                           T* oValueP)
{
    CMN_ASSERT_TEXT(iAttribute && iAttribute->GetTag() == iTag, "iAttribute->GetTag() == iTag");
    return static_cast<const BDM_TypedAttribute<T>*>(iAttribute)->GetValue(oValueP);
}

// ---- sort orders -------------------------------------------------------------------------

class BDM_SortOrder
{
public:
    explicit BDM_SortOrder(bool iAscending = false) : mAscending(iAscending) {}
    BDM_SortOrder(std::list<const BDM_AttributeTag*> iTags, bool iAscending)
        : mTags(std::move(iTags)), mCount(int32_t(mTags.size())), mAscending(iAscending)
    {
    }

    void AddTag(const BDM_AttributeTag* iTagP)
    {
        mTags.push_back(iTagP);
        ++mCount;
    }
    const std::list<const BDM_AttributeTag*>& GetTags() const { return mTags; }
    int32_t GetCount() const { return mCount; }
    bool IsAscending() const { return mAscending; }

    bool operator==(const BDM_SortOrder& iOther) const
    {
        return mCount == iOther.mCount && mTags == iOther.mTags && mAscending == iOther.mAscending;
    }
    bool operator!=(const BDM_SortOrder& iOther) const { return !(*this == iOther); }

private:
    std::list<const BDM_AttributeTag*> mTags; // primary key first
    int32_t mCount = 0;
    bool mAscending;
};
