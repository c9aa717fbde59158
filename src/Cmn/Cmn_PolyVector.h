// A vector whose element type is known only through a traits object.
//
// Cmn_PolyVectorImpl holds raw bytes: [mBegin, mEnd) are constructed elements, [mEnd,
// mEndOfCapacity) is raw storage. Every element operation (allocate, free, copy-construct,
// assign, destroy) goes through a Cmn_PolyVectorTraitsBase, so the one compiled body in
// Cmn_PolyVector.cpp serves every element type; Cmn_PolyVector<T> is the typed front.
//
// Invariants:
//   1. mBegin <= mEnd <= mEndOfCapacity; all three are null when nothing is allocated.
//   2. (mEnd - mBegin) and (mEndOfCapacity - mBegin) are multiples of mElemSize.
//   3. Every element in [mBegin, mEnd) was constructed exactly once and is destroyed exactly
//      once: by Erase, Resize, Assign, Init, or the destructor.
//   4. The block was allocated by mTraitsP for Capacity() elements and is freed by it.
//
// Exception safety: a throwing copy constructor or assignment never leaks and never destroys
// an element twice. Operations that reallocate (Reserve, a growing Insert, Init, Assign into a
// larger block) leave the vector unchanged when they throw. An in-place Insert or Assign that
// throws leaves a valid vector whose contents are unspecified (every element it holds is live).
//
// Element pointers given to Insert may point into the vector itself.
// At(i) throws L10N package 7, id 10 ("out_of_range: Cmn_PolyVectorImpl::At") for i >= Size().
// Not thread-safe.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

// The element operations of one type. Objects of derived classes are stateless singletons;
// they are never deleted through this base.
class Cmn_PolyVectorTraitsBase
{
public:
    // Raw storage for iCount elements (never null; throws std::bad_alloc or a length error).
    virtual void* Allocate(size_t iCount) const = 0;
    // Frees a block that Allocate(iCount) returned.
    virtual void Free(void* iBlockP, size_t iCount) const = 0;
    // Constructs an element at oDstP (raw storage) as a copy of *iSrcP.
    virtual void Construct(void* oDstP, const void* iSrcP) const = 0;
    // Assigns *iSrcP to the live element at ioDstP.
    virtual void Assign(void* ioDstP, const void* iSrcP) const = 0;
    // Destroys the live element at ioP, leaving raw storage.
    virtual void Destroy(void* ioP) const = 0;

protected:
    Cmn_PolyVectorTraitsBase() = default;
    ~Cmn_PolyVectorTraitsBase() = default;
};

template <class T> class Cmn_PolyVectorTraits final : public Cmn_PolyVectorTraitsBase
{
public:
    static const Cmn_PolyVectorTraits& Get()
    {
        static const Cmn_PolyVectorTraits sTraits;
        return sTraits;
    }

    void* Allocate(size_t iCount) const override { return std::allocator<T>().allocate(iCount); }
    void Free(void* iBlockP, size_t iCount) const override
    {
        std::allocator<T>().deallocate(static_cast<T*>(iBlockP), iCount);
    }
    void Construct(void* oDstP, const void* iSrcP) const override
    {
        ::new (oDstP) T(*static_cast<const T*>(iSrcP));
    }
    void Assign(void* ioDstP, const void* iSrcP) const override
    {
        *static_cast<T*>(ioDstP) = *static_cast<const T*>(iSrcP);
    }
    void Destroy(void* ioP) const override { static_cast<T*>(ioP)->~T(); }
};

class Cmn_PolyVectorImpl
{
public:
    // An empty vector of elements of iElemSize (> 0) bytes handled by *iTraitsP (not owned;
    // must outlive the vector).
    Cmn_PolyVectorImpl(size_t iElemSize, const Cmn_PolyVectorTraitsBase* iTraitsP);
    ~Cmn_PolyVectorImpl();
    Cmn_PolyVectorImpl(const Cmn_PolyVectorImpl&) = delete;
    Cmn_PolyVectorImpl& operator=(const Cmn_PolyVectorImpl&) = delete;

    // Replaces the contents with iCount copies of *iFillP (exactly iCount capacity).
    void Init(size_t iCount, const void* iFillP);
    // Replaces the contents with copies of iOther's elements (same element type).
    void Init(const Cmn_PolyVectorImpl& iOther);
    // Makes the contents equal to iOther's, reusing the block when it is large enough.
    void Assign(const Cmn_PolyVectorImpl& iOther);
    // Makes Capacity() at least iCount; never shrinks.
    void Reserve(size_t iCount);
    // Shrinks by erasing at the end or grows by appending copies of *iFillP.
    void Resize(size_t iCount, const void* iFillP);

    // Inserts before ioPos (an element boundary in [Begin(), End()]); each returns the position
    // of the first inserted element. Pointers into the vector are invalidated.
    unsigned char* Insert(unsigned char* ioPos, const void* iValueP);
    unsigned char* Insert(unsigned char* ioPos, size_t iCount, const void* iValueP);
    unsigned char* Insert(unsigned char* ioPos, const void* iFirstP, const void* iLastP);
    // Erases one element or [iFirst, iLast); returns the position after the erased ones.
    unsigned char* Erase(unsigned char* ioPos);
    unsigned char* Erase(unsigned char* iFirst, unsigned char* iLast);
    // Exchanges the contents with a vector of the same element type.
    void Swap(Cmn_PolyVectorImpl& ioOther) noexcept;

    unsigned char* Begin() { return mBegin; }
    const unsigned char* Begin() const { return mBegin; }
    unsigned char* End() { return mEnd; }
    const unsigned char* End() const { return mEnd; }
    size_t Size() const { return static_cast<size_t>(mEnd - mBegin) / mElemSize; }
    size_t Capacity() const { return static_cast<size_t>(mEndOfCapacity - mBegin) / mElemSize; }
    size_t GetElemSize() const { return mElemSize; }
    // The element at iIndex; throws L10N 7/10 when iIndex >= Size().
    void* At(size_t iIndex);
    const void* At(size_t iIndex) const;

private:
    // Assigns *iValueP to every live element of [ioFirst, ioLast).
    void Fill(unsigned char* ioFirst, unsigned char* ioLast, const void* iValueP);
    // Constructs iCount copies of *iValueP at raw oFirst; on failure destroys what it built.
    void UninitializedFill(unsigned char* oFirst, size_t iCount, const void* iValueP);
    // Assigns [iFirst, iLast) forward onto live elements at ioDst; returns the end written.
    unsigned char* Copy(const unsigned char* iFirst, const unsigned char* iLast,
                        unsigned char* ioDst);
    // Assigns [iFirst, iLast) backward onto live elements ending at ioDstEnd.
    unsigned char* CopyBackward(const unsigned char* iFirst, const unsigned char* iLast,
                                unsigned char* ioDstEnd);
    // Constructs copies of [iFirst, iLast) at raw oDst; on failure destroys what it built.
    unsigned char* UninitializedCopy(const unsigned char* iFirst, const unsigned char* iLast,
                                     unsigned char* oDst);
    // Destroys the live elements of [ioFirst, ioLast).
    void Destroy(unsigned char* ioFirst, unsigned char* ioLast);
    // Destroys every element and frees the block; the vector is empty with no capacity.
    void Deallocate();

    size_t GrowCapacity(size_t iExtra) const;
    unsigned char* InsertCopies(unsigned char* ioPos, size_t iCount, const void* iValueP);
    unsigned char* InsertRange(unsigned char* ioPos, const unsigned char* iFirst,
                               const unsigned char* iLast);
    bool Holds(const void* iP) const;

    unsigned char* mBegin = nullptr;
    unsigned char* mEnd = nullptr;
    unsigned char* mEndOfCapacity = nullptr;
    size_t mElemSize;
    const Cmn_PolyVectorTraitsBase* mTraitsP;
};

// The typed front: iterators are plain T*. T must be copy-constructible and copy-assignable.
template <class T> class Cmn_PolyVector
{
public:
    using value_type = T;
    using size_type = size_t;
    using iterator = T*;
    using const_iterator = const T*;
    using reference = T&;
    using const_reference = const T&;

    Cmn_PolyVector() : mImpl(sizeof(T), &Cmn_PolyVectorTraits<T>::Get()) {}
    explicit Cmn_PolyVector(size_t iCount, const T& iFill = T()) : Cmn_PolyVector()
    {
        mImpl.Init(iCount, &iFill);
    }
    Cmn_PolyVector(const T* iFirst, const T* iLast) : Cmn_PolyVector()
    {
        insert(end(), iFirst, iLast);
    }
    Cmn_PolyVector(std::initializer_list<T> iList) : Cmn_PolyVector(iList.begin(), iList.end()) {}
    Cmn_PolyVector(const Cmn_PolyVector& iOther) : Cmn_PolyVector() { mImpl.Init(iOther.mImpl); }
    // The source is left empty.
    Cmn_PolyVector(Cmn_PolyVector&& ioOther) noexcept : Cmn_PolyVector() { swap(ioOther); }
    Cmn_PolyVector& operator=(const Cmn_PolyVector& iOther)
    {
        mImpl.Assign(iOther.mImpl);
        return *this;
    }
    Cmn_PolyVector& operator=(Cmn_PolyVector&& ioOther) noexcept
    {
        Cmn_PolyVector tmp(std::move(ioOther));
        swap(tmp);
        return *this;
    }

    iterator begin() { return reinterpret_cast<T*>(mImpl.Begin()); }
    const_iterator begin() const { return reinterpret_cast<const T*>(mImpl.Begin()); }
    iterator end() { return reinterpret_cast<T*>(mImpl.End()); }
    const_iterator end() const { return reinterpret_cast<const T*>(mImpl.End()); }
    T* data() { return begin(); }
    const T* data() const { return begin(); }

    size_t size() const { return mImpl.Size(); }
    size_t capacity() const { return mImpl.Capacity(); }
    bool empty() const { return mImpl.Begin() == mImpl.End(); }

    // Checked access: throws L10N 7/10 past the end.
    T& at(size_t iIndex) { return *static_cast<T*>(mImpl.At(iIndex)); }
    const T& at(size_t iIndex) const { return *static_cast<const T*>(mImpl.At(iIndex)); }
    // Unchecked access.
    T& operator[](size_t iIndex) { return begin()[iIndex]; }
    const T& operator[](size_t iIndex) const { return begin()[iIndex]; }
    T& front() { return *begin(); }
    const T& front() const { return *begin(); }
    T& back() { return end()[-1]; }
    const T& back() const { return end()[-1]; }

    void reserve(size_t iCount) { mImpl.Reserve(iCount); }
    void resize(size_t iCount, const T& iFill = T()) { mImpl.Resize(iCount, &iFill); }
    void clear() { mImpl.Erase(mImpl.Begin(), mImpl.End()); }
    void assign(size_t iCount, const T& iFill) { mImpl.Init(iCount, &iFill); }

    void push_back(const T& iValue) { mImpl.Insert(mImpl.End(), &iValue); }
    void pop_back() { mImpl.Erase(mImpl.End() - sizeof(T)); }

    iterator insert(const_iterator iPos, const T& iValue)
    {
        return reinterpret_cast<T*>(mImpl.Insert(Raw(iPos), &iValue));
    }
    iterator insert(const_iterator iPos, size_t iCount, const T& iValue)
    {
        return reinterpret_cast<T*>(mImpl.Insert(Raw(iPos), iCount, &iValue));
    }
    iterator insert(const_iterator iPos, const T* iFirst, const T* iLast)
    {
        return reinterpret_cast<T*>(mImpl.Insert(Raw(iPos), iFirst, iLast));
    }
    iterator erase(const_iterator iPos) { return reinterpret_cast<T*>(mImpl.Erase(Raw(iPos))); }
    iterator erase(const_iterator iFirst, const_iterator iLast)
    {
        return reinterpret_cast<T*>(mImpl.Erase(Raw(iFirst), Raw(iLast)));
    }

    void swap(Cmn_PolyVector& ioOther) noexcept { mImpl.Swap(ioOther.mImpl); }

    bool operator==(const Cmn_PolyVector& iOther) const
    {
        if (size() != iOther.size())
            return false;
        for (size_t i = 0; i < size(); ++i)
            if (!((*this)[i] == iOther[i]))
                return false;
        return true;
    }

    Cmn_PolyVectorImpl& GetImpl() { return mImpl; }
    const Cmn_PolyVectorImpl& GetImpl() const { return mImpl; }

private:
    unsigned char* Raw(const_iterator iPos)
    {
        return const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(iPos));
    }

    Cmn_PolyVectorImpl mImpl;
};
