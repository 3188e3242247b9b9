// A stand-in for the host application: loads the plug-in the way the host
// does, learns its classes from the exported tables, and calls its wrappers
// by class and method name. Written from the host's side only.
//
//   tirnhost::Module m("tirnvision.so");
//   void* img = m.create("CImage", {Arg::integer(8), Arg::integer(4)});
//   int w = m.call(img, "CImage", "width").i;
//   m.release(img);                       // or left to ~Module
//
// Script errors raised by the plug-in (prog_throw, qor_throw) are recorded,
// not thrown: the call returns its zero result and errors() tells what
// happened. Misuse of the emulator itself throws HostError.
#ifndef TIRNHOST_TIRNHOST_H
#define TIRNHOST_TIRNHOST_H

#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Prototype.h"

namespace tirnhost {

// The plug-in to load: $TIRNVISION_MODULE when set and not empty, else sDefault.
std::string modulePath(const std::string& sDefault);

class HostError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct ScriptError
{
    std::string kind;    // "CImageException:", "badop", "badarg", ...
    std::string message; // formatted

    bool operator==(const ScriptError& o) const { return kind == o.kind && message == o.message; }
};

// For test failure messages.
inline std::ostream& operator<<(std::ostream& os, const ScriptError& e)
{
    return os << "{\"" << e.kind << "\", \"" << e.message << "\"}";
}

// The host's pin-type callbacks, with the host's own view of their types.
struct PinType
{
    std::string name;
    int (*compatible)(void*, void*) = nullptr;
    void* (*copy)(void*, void*) = nullptr;
    void (*free)(void*) = nullptr;
    const char* (*describe)(void*) = nullptr;
    std::string baseType;
};

// One argument of a call. Arrays and text buffers refer to the caller's
// storage, so what the plug-in writes there is visible afterwards.
class Arg
{
public:
    static Arg integer(int iValue);
    static Arg real(float fValue);
    static Arg text(const std::string& sText); // a copy; element count = length
    // A buffer of size n + 1 passed with element count n (the host's texts).
    static Arg textBuffer(std::vector<char>& buffer);
    static Arg bytes(std::vector<unsigned char>& values);
    static Arg floats(std::vector<float>& values);
    static Arg nullArray(ValueType type); // a null array, element count 0
    static Arg image(void* pHandle);
    // An array of the given type in the caller's storage, which must outlive
    // every use the plug-in makes of it (a filter may keep the pointer).
    static Arg borrowed(ValueType type, void* pArray, int iCount);

    ValueType type() const { return m_type; }

private:
    friend class Module;
    ValueType m_type = ValueType::Int;
    int m_iValue = 0;
    float m_fValue = 0;
    std::vector<char> m_text; // owned copy for text()
    void* m_pArray = nullptr; // caller's storage or image handle
    int m_iCount = 0;
};

// What a call returned, read by the prototype's result type.
struct Value
{
    ValueType type = ValueType::Void;
    int i = 0;
    float f = 0;
    void* handle = nullptr; // a new object the host now owns, or null
};

class Module
{
public:
    // dlopen, vision_type_init, reading and parsing of the tables, check of
    // the exported names. Only one module can be loaded at a time.
    explicit Module(const std::string& sPath);
    // Frees every handle still owned, calls vision_type_fini and unloads.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::vector<ClassTable>& classes() const { return m_classes; }
    const ClassTable& functions() const { return m_functions; }
    const ClassTable& classTable(const std::string& sClass) const; // throws if unknown
    // Every exported name the tables declare, in table order.
    std::vector<std::string> declaredExports() const;
    // Declared names the module does not export (also printed at load).
    const std::vector<std::string>& missingExports() const { return m_missing; }
    void* symbol(const std::string& sName) const; // null when not exported

    // The constructor of a class; defaults fill what is not given.
    void* create(const std::string& sClass, const std::vector<Arg>& args = {});
    // A method, chosen among the class's overloads by the arguments given
    // (exact types first, then ints where floats are declared).
    Value call(void* pObject, const std::string& sClass, const std::string& sMethod,
               const std::vector<Arg>& args = {});
    Value callFunction(const std::string& sName, const std::vector<Arg>& args = {});
    // One given prototype of a table (a class's or functions()), without the
    // overload choice; a constructor's handle is owned as create()'s is.
    Value callPrototype(const ClassTable& table, const Prototype& proto, void* pObject,
                        const std::vector<Arg>& args);
    // An exported wrapper no table declares, with the given result type. No
    // prototype, so no defaults: give every argument the wrapper reads.
    Value callExport(const std::string& sExport, ValueType result, void* pObject,
                     const std::vector<Arg>& args);
    // Frees an owned handle through its class's destructor wrapper.
    void release(void* pHandle);
    bool owns(void* pHandle) const { return m_owned.count(pHandle) != 0; }
    std::size_t ownedCount() const { return m_owned.size(); }

    // The pin-type registry as the plug-in filled it.
    const PinType* pinType(const std::string& sName) const;
    int pinCompatible(const std::string& sType, void* pA, void* pB);
    void* pinCopy(const std::string& sType, void* pTarget, void* pSource); // owned if new
    std::string pinDescribe(const std::string& sType, void* pValue);
    void pinFree(const std::string& sType, void* pValue); // releases ownership too

    const std::vector<ScriptError>& errors() const { return m_errors; }
    std::vector<ScriptError> takeErrors();
    // What qor_warning told the user, formatted, in order.
    const std::vector<std::string>& warnings() const { return m_warnings; }
    std::vector<std::string> takeWarnings();
    // The plug-in's name: "tirnvision" for "build/tirnvision.so"; its unit
    // folder is gsFolder_<name>.
    const std::string& name() const { return m_sName; }

    // Used by the host entry points.
    static Module* current();
    void raise(const char* pcKind, const std::string& sMessage);
    void warn(const std::string& sMessage) { m_warnings.push_back(sMessage); }
    void definePinType(const char* pcName, int (*compatible)(void*, void*),
                       void* (*copy)(void*, void*), void (*free)(void*));
    void describePinType(const char* pcName, const char* (*describe)(void*));
    void basePinType(const char* pcName, const char* pcBase);

private:
    struct Frame; // storage of one call's arguments
    Value invoke(const Prototype& proto, void* pObject, const std::vector<Arg>& args);
    const Prototype& choose(const ClassTable& table, const std::string& sMethod,
                           const std::vector<Arg>& args) const;
    void* requireSymbol(const std::string& sName) const;
    void adopt(void* pHandle, const std::string& sClass);

    void* m_pLibrary = nullptr;
    std::vector<ClassTable> m_classes;
    ClassTable m_functions;
    std::vector<std::string> m_missing;
    std::map<void*, std::string> m_owned; // handle -> class
    std::vector<void*> m_ownedOrder;
    std::map<std::string, PinType> m_pinTypes;
    std::vector<ScriptError> m_errors;
    std::vector<std::string> m_warnings;
    std::string m_sName;
};

} // namespace tirnhost

#endif
