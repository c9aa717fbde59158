// The factories of the two generations: from the class id an object stores to the wrapper
// class that stands for it. A class with no wrapper of its own (a private class of another
// maker) is made as its nearest ancestor with one: the factory walks up the class tree.
// Initialize once (asserts the map is empty), Free at the end. Main thread only.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "FF/OMF/OMF_Toolkit.h"

class OMF_File;
class OMF_Object;

class FactoryMethod1x
{
public:
    virtual ~FactoryMethod1x() = default;
    virtual OMF_Object* Create(OMF_File* iFile, omfObject_t iObj) const = 0;
};

template <class T> class TypedFactoryMethod1x : public FactoryMethod1x
{
public:
    OMF_Object* Create(OMF_File* iFile, omfObject_t iObj) const override { return new T(iFile, iObj); }
};

class FactoryMethod2x
{
public:
    virtual ~FactoryMethod2x() = default;
    virtual OMF_Object* Create(OMF_File* iFile, omfObject_t iObj) const = 0;
};

template <class T> class TypedFactoryMethod2x : public FactoryMethod2x
{
public:
    OMF_Object* Create(OMF_File* iFile, omfObject_t iObj) const override { return new T(iFile, iObj); }
};

class OMF_Factory1x
{
public:
    static void Initialize();
    static void Free();
    static bool IsInitialized() { return !sFactoryMethods1x.empty(); }
    // A new wrapper (the caller owns it). Asserts the object's class property and a known
    // ancestor class ("iter != sFactoryMethods1x.end()").
    static OMF_Object* Create(OMF_File* iFile, omfObject_t iObj);

private:
    static std::map<std::string, FactoryMethod1x*> sFactoryMethods1x;
};

class OMF_Factory2x
{
public:
    static void Initialize();
    static void Free();
    static bool IsInitialized() { return !sFactoryMethods2x.empty(); }
    static OMF_Object* Create(OMF_File* iFile, omfObject_t iObj);

private:
    static std::map<std::string, FactoryMethod2x*> sFactoryMethods2x;
};
