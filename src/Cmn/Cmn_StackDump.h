// A captured call stack. Create() asks the registered create method (installed by the
// platform layer); without one it gives the do-nothing Cmn_StackDumpNull.
#pragma once

#include <ostream>

class Cmn_StackDump
{
public:
    using CreateMethod = Cmn_StackDump* (*)();

    virtual ~Cmn_StackDump() = default;
    virtual Cmn_StackDump* Clone() const = 0;
    virtual void Print(std::ostream& ioStream) const = 0;

    // The caller owns the result.
    static Cmn_StackDump* Create();
    static CreateMethod SetCreateMethod(CreateMethod iMethod);

private:
    static CreateMethod sCreateMethod;
};

class Cmn_StackDumpNull : public Cmn_StackDump
{
public:
    Cmn_StackDump* Clone() const override { return new Cmn_StackDumpNull; }
    void Print(std::ostream&) const override {}
};
