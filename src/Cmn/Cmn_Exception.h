// The failure objects of the library.
//
// Every failure is an exception derived from std::exception. A Cmn_Exception carries an
// optional stack dump and a shared list of context descriptions; Cmn_TypedException<T>
// adds a data value of type T and the static code object that names its kind. A thrower
// names a code and a value:
//
//     throw Cmn_TypedException<L10N_ExceptionData>(L10N_GetExceptionCode(),
//                                                  L10N_ExceptionData(2, 28),
//                                                  Cmn_StackDump::Create());
//
// Copies of an exception share one context list (created on first need), so a context
// added while unwinding is seen by every copy. what() builds the description afresh on
// each call; the returned pointer stays valid until the next call or the exception's end.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "Cmn_RefCountObject.h"

class Cmn_StackDump;
class Cmn_ExceptionCode;

// The abstract description of one failure: its code and a printable text.
class Cmn_ExceptionDescription
{
public:
    virtual ~Cmn_ExceptionDescription() = default;
    virtual const Cmn_ExceptionCode& GetExceptionCode() const = 0;
    virtual void PrintDescription(std::ostream& ioStream) const = 0;

    std::string GetDescriptionText() const;
};

// Identity of a kind of exception. Codes are static objects, compared by address.
class Cmn_ExceptionCode
{
public:
    Cmn_ExceptionCode() = default;
    Cmn_ExceptionCode(const Cmn_ExceptionCode&) = delete;
    Cmn_ExceptionCode& operator=(const Cmn_ExceptionCode&) = delete;
    virtual ~Cmn_ExceptionCode() = default;

    bool operator==(const Cmn_ExceptionCode& iOther) const { return this == &iOther; }
    bool operator!=(const Cmn_ExceptionCode& iOther) const { return this != &iOther; }
};

// A code for data of type T: it knows how to print such a value.
template <class T> class Cmn_TypedExceptionCode : public Cmn_ExceptionCode
{
public:
    virtual void Print(std::ostream& ioStream, const T& iData) const = 0;
};

template <class T> class Cmn_TypedExceptionDescription : public virtual Cmn_ExceptionDescription
{
public:
    Cmn_TypedExceptionDescription(const Cmn_TypedExceptionCode<T>& iCode, const T& iData)
        : mCodeP(&iCode), mData(iData)
    {
    }
    const Cmn_ExceptionCode& GetExceptionCode() const override { return *mCodeP; }
    void PrintDescription(std::ostream& ioStream) const override { mCodeP->Print(ioStream, mData); }
    const T& GetData() const { return mData; }
    const Cmn_TypedExceptionCode<T>& GetTypedCode() const { return *mCodeP; }

private:
    const Cmn_TypedExceptionCode<T>* mCodeP;
    T mData;
};

class Cmn_Exception : public std::exception, public virtual Cmn_ExceptionDescription
{
public:
    using ContextList = std::vector<std::shared_ptr<const Cmn_ExceptionDescription>>;

    // Takes ownership of iStackDumpP (may be null).
    explicit Cmn_Exception(Cmn_StackDump* iStackDumpP = nullptr);
    Cmn_Exception(const Cmn_Exception& iOther);
    Cmn_Exception& operator=(const Cmn_Exception& iOther);
    ~Cmn_Exception() override;

    const Cmn_StackDump* GetStackDump() const { return mStackDump.get(); }

    // Adopts iContextP: the exception (and every copy of it) owns it from here on.
    void AddContext(const Cmn_ExceptionDescription* iContextP);
    ContextList::const_iterator GetContextListBegin() const;
    ContextList::const_iterator GetContextListEnd() const;

    const char* what() const noexcept override;

    // Any exception as a text: a Cmn_Exception prints its description and then each context
    // description on a line of its own; any other exception gives what().
    static std::string GetExceptionDescription(const std::exception& iException);

    // A heap copy of the most derived exception, for storing and rethrowing elsewhere.
    virtual Cmn_Exception* Clone() const = 0;
    [[noreturn]] virtual void Rethrow() const = 0;

private:
    class RefCountedData : public Cmn_RefCountObject
    {
    public:
        ContextList mContexts;
    };
    RefCountedData* AssureRefData();

    std::shared_ptr<Cmn_StackDump> mStackDump;
    RefCountedData* mRefDataP = nullptr;
    mutable std::string mWhat;
    static const ContextList sEmptyContextList;
};

template <class T>
class Cmn_TypedException : public Cmn_Exception, public Cmn_TypedExceptionDescription<T>
{
public:
    Cmn_TypedException(const Cmn_TypedExceptionCode<T>& iCode, const T& iData,
                       Cmn_StackDump* iStackDumpP = nullptr)
        : Cmn_Exception(iStackDumpP), Cmn_TypedExceptionDescription<T>(iCode, iData)
    {
    }
    Cmn_Exception* Clone() const override { return new Cmn_TypedException(*this); }
    [[noreturn]] void Rethrow() const override { throw *this; }
};

// Data of an exception that wraps a standard exception by its type and text.
struct Cmn_ANSIExceptionData
{
    std::string mTypeName;
    std::string mText;
};

// Code for exceptions thrown as plain standard-derived classes (E names the class).
template <class E> class Cmn_ANSIExceptionCode : public Cmn_TypedExceptionCode<Cmn_ANSIExceptionData>
{
public:
    void Print(std::ostream& ioStream, const Cmn_ANSIExceptionData& iData) const override
    {
        ioStream << iData.mText;
    }
    static const Cmn_ANSIExceptionCode& Instance()
    {
        static const Cmn_ANSIExceptionCode sCode;
        return sCode;
    }
};

// A plain standard string as data.
class Cmn_StringExceptionCode : public Cmn_TypedExceptionCode<std::string>
{
public:
    void Print(std::ostream& ioStream, const std::string& iData) const override { ioStream << iData; }
    static const Cmn_StringExceptionCode& Instance();
};

// Unwinds a cancelled operation. Not an error and never logged.
class Cmn_CancelException : public std::exception
{
public:
    const char* what() const noexcept override { return "operation cancelled"; }
};

class Cmn_FatalException : public std::runtime_error
{
public:
    explicit Cmn_FatalException(const std::string& iText) : std::runtime_error(iText) {}
};

class Cmn_AssertException : public std::runtime_error
{
public:
    explicit Cmn_AssertException(const std::string& iText) : std::runtime_error(iText) {}
};

// Failures of this module that carry a localisable text (a package and a string id of the
// message table). The localisation module, which sits above this one, installs the method
// that throws them as its localised exception (L10N_Exception), when the library is loaded;
// until then (or in a program without it) Cmn_ThrowLocalised throws a
// Cmn_TypedException<std::string> naming the package and the id.
using Cmn_LocalisedThrowMethod = void (*)(int32_t iPackageID, int32_t iStringID);
Cmn_LocalisedThrowMethod Cmn_SetLocalisedThrowMethod(Cmn_LocalisedThrowMethod iMethod);
[[noreturn]] void Cmn_ThrowLocalised(int32_t iPackageID, int32_t iStringID);

// Wraps any exception as a Cmn_Exception (a Cmn_Exception is cloned as it is; a standard one
// becomes a Cmn_TypedException<Cmn_ANSIExceptionData>), so that it can be stored and
// rethrown on another thread.
std::unique_ptr<Cmn_Exception> Cmn_CaptureException(std::exception_ptr iException);
