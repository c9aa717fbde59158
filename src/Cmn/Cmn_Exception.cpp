#include "Cmn_Exception.h"

#include <atomic>
#include <sstream>

#include "Cmn_StackDump.h"

const Cmn_Exception::ContextList Cmn_Exception::sEmptyContextList;

std::string Cmn_ExceptionDescription::GetDescriptionText() const
{
    std::ostringstream out;
    PrintDescription(out);
    return out.str();
}

Cmn_Exception::Cmn_Exception(Cmn_StackDump* iStackDumpP) : mStackDump(iStackDumpP) {}

Cmn_Exception::Cmn_Exception(const Cmn_Exception& iOther)
    : Cmn_ExceptionDescription(iOther), std::exception(iOther), mStackDump(iOther.mStackDump),
      mRefDataP(iOther.mRefDataP)
{
    if (mRefDataP)
        mRefDataP->AddReference();
}

Cmn_Exception& Cmn_Exception::operator=(const Cmn_Exception& iOther)
{
    if (this != &iOther)
    {
        if (iOther.mRefDataP)
            iOther.mRefDataP->AddReference();
        if (mRefDataP)
            mRefDataP->RemoveReference();
        mRefDataP = iOther.mRefDataP;
        mStackDump = iOther.mStackDump;
    }
    return *this;
}

Cmn_Exception::~Cmn_Exception()
{
    if (mRefDataP)
        mRefDataP->RemoveReference();
}

Cmn_Exception::RefCountedData* Cmn_Exception::AssureRefData()
{
    if (!mRefDataP)
    {
        mRefDataP = new RefCountedData;
        mRefDataP->AddReference();
    }
    return mRefDataP;
}

void Cmn_Exception::AddContext(const Cmn_ExceptionDescription* iContextP)
{
    if (iContextP)
        AssureRefData()->mContexts.emplace_back(iContextP);
}

Cmn_Exception::ContextList::const_iterator Cmn_Exception::GetContextListBegin() const
{
    return mRefDataP ? mRefDataP->mContexts.begin() : sEmptyContextList.begin();
}

Cmn_Exception::ContextList::const_iterator Cmn_Exception::GetContextListEnd() const
{
    return mRefDataP ? mRefDataP->mContexts.end() : sEmptyContextList.end();
}

const char* Cmn_Exception::what() const noexcept
{
    try
    {
        mWhat = GetExceptionDescription(*this);
    }
    catch (...)
    {
        mWhat = "(the description of this failure could not be built)";
    }
    return mWhat.c_str();
}

std::string Cmn_Exception::GetExceptionDescription(const std::exception& iException)
{
    const auto* cmnP = dynamic_cast<const Cmn_Exception*>(&iException);
    if (!cmnP)
        return iException.what();
    std::ostringstream out;
    cmnP->PrintDescription(out);
    for (auto it = cmnP->GetContextListBegin(); it != cmnP->GetContextListEnd(); ++it)
    {
        out << '\n';
        (*it)->PrintDescription(out);
    }
    return out.str();
}

const Cmn_StringExceptionCode& Cmn_StringExceptionCode::Instance()
{
    static const Cmn_StringExceptionCode sCode;
    return sCode;
}

namespace
{
template <class E> std::unique_ptr<Cmn_Exception> WrapAs(const E& iE)
{
    return std::make_unique<Cmn_TypedException<Cmn_ANSIExceptionData>>(
        Cmn_ANSIExceptionCode<E>::Instance(), Cmn_ANSIExceptionData{typeid(iE).name(), iE.what()});
}
} // namespace

std::unique_ptr<Cmn_Exception> Cmn_CaptureException(std::exception_ptr iException)
{
    try
    {
        std::rethrow_exception(iException);
    }
    catch (const Cmn_Exception& e)
    {
        return std::unique_ptr<Cmn_Exception>(e.Clone());
    }
    catch (const Cmn_CancelException& e)
    {
        return WrapAs(e);
    }
    catch (const Cmn_AssertException& e)
    {
        return WrapAs(e);
    }
    catch (const Cmn_FatalException& e)
    {
        return WrapAs(e);
    }
    catch (const std::bad_alloc& e)
    {
        return WrapAs(e);
    }
    catch (const std::exception& e)
    {
        return WrapAs(e);
    }
    catch (...)
    {
        return std::make_unique<Cmn_TypedException<Cmn_ANSIExceptionData>>(
            Cmn_ANSIExceptionCode<std::exception>::Instance(),
            Cmn_ANSIExceptionData{"unknown", "unknown exception"});
    }
}

namespace
{
std::atomic<Cmn_LocalisedThrowMethod> sLocalisedThrowMethod{nullptr};
}

Cmn_LocalisedThrowMethod Cmn_SetLocalisedThrowMethod(Cmn_LocalisedThrowMethod iMethod)
{
    return sLocalisedThrowMethod.exchange(iMethod);
}

void Cmn_ThrowLocalised(int32_t iPackageID, int32_t iStringID)
{
    if (const Cmn_LocalisedThrowMethod method = sLocalisedThrowMethod.load())
        method(iPackageID, iStringID); // throws
    throw Cmn_TypedException<std::string>(Cmn_StringExceptionCode::Instance(),
                                          "failure " + std::to_string(iPackageID) + "." +
                                              std::to_string(iStringID),
                                          Cmn_StackDump::Create());
}
