#include "TirnHost.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tirnhost {

namespace {

Module* g_pCurrent = nullptr;

// The host's calling conventions, seen from its side.
typedef void* (*ConstructorFn)(const int*, void**);
typedef void (*DestructorFn)(void*);
typedef void (*VoidMethodFn)(const int*, void**, void*);
typedef int (*IntMethodFn)(const int*, void**, void*);
typedef float (*FloatMethodFn)(const int*, void**, void*);
typedef void* (*HandleMethodFn)(const int*, void**, void*);

const char kPinOwner[] = "pin:";

// "build/tirnvision.so" -> "tirnvision": the suffix of the module's tables.
std::string libraryName(const std::string& sPath)
{
    std::string name = sPath.substr(sPath.find_last_of('/') + 1);
    const std::size_t dot = name.find('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

bool accepts(ValueType param, ValueType given, bool bLenient)
{
    return param == given || (bLenient && param == ValueType::Float && given == ValueType::Int);
}

bool fits(const Prototype& p, const std::vector<Arg>& args, bool bLenient)
{
    if (args.size() > p.params.size() || int(args.size()) < p.requiredCount())
        return false;
    for (std::size_t i = 0; i < args.size(); ++i)
        if (!accepts(p.params[i].type, args[i].type(), bLenient))
            return false;
    return true;
}

std::string describeCall(const std::string& sName, const std::vector<Arg>& args)
{
    std::string s = sName + "(";
    for (std::size_t i = 0; i < args.size(); ++i)
        s += std::string(i ? ", " : "") + typeName(args[i].type());
    return s + ")";
}

} // namespace

std::string modulePath(const std::string& sDefault)
{
    const char* pc = std::getenv("TIRNVISION_MODULE");
    return pc && *pc ? pc : sDefault;
}

// --- Arg ---------------------------------------------------------------

Arg Arg::integer(int iValue)
{
    Arg a;
    a.m_type = ValueType::Int;
    a.m_iValue = iValue;
    return a;
}

Arg Arg::real(float fValue)
{
    Arg a;
    a.m_type = ValueType::Float;
    a.m_fValue = fValue;
    return a;
}

Arg Arg::text(const std::string& sText)
{
    Arg a;
    a.m_type = ValueType::Text;
    a.m_text.assign(sText.begin(), sText.end());
    a.m_text.push_back('\0');
    a.m_iCount = int(sText.size());
    return a;
}

Arg Arg::textBuffer(std::vector<char>& buffer)
{
    if (buffer.empty())
        throw HostError("a text buffer needs room for its terminating zero");
    Arg a;
    a.m_type = ValueType::Text;
    a.m_pArray = buffer.data();
    a.m_iCount = int(buffer.size()) - 1;
    return a;
}

Arg Arg::bytes(std::vector<unsigned char>& values)
{
    Arg a;
    a.m_type = ValueType::Bytes;
    a.m_pArray = values.data();
    a.m_iCount = int(values.size());
    return a;
}

Arg Arg::floats(std::vector<float>& values)
{
    Arg a;
    a.m_type = ValueType::Floats;
    a.m_pArray = values.data();
    a.m_iCount = int(values.size());
    return a;
}

Arg Arg::nullArray(ValueType type)
{
    if (!isArray(type))
        throw HostError(std::string("not an array type: ") + typeName(type));
    Arg a;
    a.m_type = type;
    return a;
}

Arg Arg::image(void* pHandle)
{
    Arg a;
    a.m_type = ValueType::Image;
    a.m_pArray = pHandle;
    return a;
}

Arg Arg::borrowed(ValueType type, void* pArray, int iCount)
{
    if (!isArray(type))
        throw HostError(std::string("not an array type: ") + typeName(type));
    Arg a;
    a.m_type = type;
    a.m_pArray = pArray;
    a.m_iCount = iCount;
    return a;
}

// --- Loading -------------------------------------------------------------

Module* Module::current() { return g_pCurrent; }

Module::Module(const std::string& sPath)
{
    if (g_pCurrent)
        throw HostError("a module is loaded already");
    // Like the host, never unmap a plug-in: the libraries it pulls in keep
    // process-wide state that they release only at exit, and a module's code
    // must stay readable for the reports of leak checkers.
    m_pLibrary = dlopen(sPath.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!m_pLibrary)
        throw HostError(std::string("cannot load ") + sPath + ": " + dlerror());
    g_pCurrent = this;
    try {
        const std::string name = libraryName(sPath);
        m_sName = name;
        auto init = reinterpret_cast<void (*)()>(requireSymbol("vision_type_init"));
        init();
        auto classes =
            static_cast<const char* const* const*>(requireSymbol("CLASSES_" + name));
        for (const char* const* const* p = classes; *p; ++p)
            m_classes.push_back(parseClassTable(*p));
        m_functions =
            parseClassTable(static_cast<const char* const*>(requireSymbol("FUNCTIONS_" + name)));
        for (const std::string& sExport : declaredExports())
            if (!symbol(sExport)) {
                m_missing.push_back(sExport);
                std::fprintf(stderr, "tirnhost: %s declares %s, which it does not export\n",
                             sPath.c_str(), sExport.c_str());
            }
    } catch (...) {
        g_pCurrent = nullptr;
        dlclose(m_pLibrary);
        throw;
    }
}

Module::~Module()
{
    while (!m_ownedOrder.empty()) {
        void* pHandle = m_ownedOrder.back();
        if (owns(pHandle))
            release(pHandle);
        else
            m_ownedOrder.pop_back();
    }
    if (auto fini = reinterpret_cast<void (*)()>(symbol("vision_type_fini")))
        fini();
    g_pCurrent = nullptr;
    dlclose(m_pLibrary);
}

void* Module::symbol(const std::string& sName) const
{
    return dlsym(m_pLibrary, sName.c_str());
}

void* Module::requireSymbol(const std::string& sName) const
{
    void* p = symbol(sName);
    if (!p)
        throw HostError("the module does not export " + sName);
    return p;
}

const ClassTable& Module::classTable(const std::string& sClass) const
{
    for (const ClassTable& t : m_classes)
        if (t.name == sClass)
            return t;
    throw HostError("unknown class " + sClass);
}

std::vector<std::string> Module::declaredExports() const
{
    std::vector<std::string> names;
    for (const ClassTable& t : m_classes)
        for (const Prototype& p : t.prototypes)
            names.push_back(p.exportName);
    for (const Prototype& p : m_functions.prototypes)
        names.push_back(p.exportName);
    return names;
}

// --- Calls ----------------------------------------------------------------

// Argument storage of one call: values live here while the wrapper runs.
struct Module::Frame
{
    explicit Frame(std::size_t n) : dims(n, 0), pointers(n, nullptr), ints(n), floats(n) {}
    std::vector<int> dims;
    std::vector<void*> pointers;
    std::vector<int> ints;
    std::vector<float> floats;
};

const Prototype& Module::choose(const ClassTable& table, const std::string& sMethod,
                                const std::vector<Arg>& args) const
{
    const std::vector<const Prototype*> candidates = table.find(sMethod);
    for (bool bLenient : {false, true})
        for (const Prototype* p : candidates)
            if (fits(*p, args, bLenient))
                return *p;
    throw HostError(candidates.empty()
                        ? "class " + table.name + " has no method " + sMethod
                        : "no " + table.name + "." + sMethod + " takes " +
                              describeCall(sMethod, args));
}

Value Module::invoke(const Prototype& proto, void* pObject, const std::vector<Arg>& args)
{
    void* pFunction = requireSymbol(proto.exportName);
    Frame frame(proto.params.size());
    for (std::size_t i = 0; i < proto.params.size(); ++i) {
        const Parameter& param = proto.params[i];
        if (i >= args.size()) { // a default: a number, or the null array
            // Only the parameter's own type: a float default need not fit an int.
            frame.ints[i] = param.type == ValueType::Int ? int(param.defaultValue) : 0;
            frame.floats[i] = param.type == ValueType::Float ? float(param.defaultValue) : 0.0f;
            if (param.type == ValueType::Int)
                frame.pointers[i] = &frame.ints[i];
            else if (param.type == ValueType::Float)
                frame.pointers[i] = &frame.floats[i];
            continue;
        }
        const Arg& a = args[i];
        switch (param.type) {
        case ValueType::Int:
            frame.ints[i] = a.m_iValue;
            frame.pointers[i] = &frame.ints[i];
            break;
        case ValueType::Float:
            frame.floats[i] = a.m_type == ValueType::Int ? float(a.m_iValue) : a.m_fValue;
            frame.pointers[i] = &frame.floats[i];
            break;
        case ValueType::Text:
            frame.pointers[i] = a.m_text.empty() ? a.m_pArray
                                                 : const_cast<char*>(a.m_text.data());
            frame.dims[i] = a.m_iCount;
            break;
        default: // arrays and images
            frame.pointers[i] = a.m_pArray;
            frame.dims[i] = a.m_iCount;
            break;
        }
    }

    const int* aiDims = frame.dims.data();
    void** apArgs = frame.pointers.data();
    Value v;
    v.type = proto.result;
    if (proto.kind == LineKind::Constructor) {
        v.handle = reinterpret_cast<ConstructorFn>(pFunction)(aiDims, apArgs);
        return v;
    }
    if (proto.kind != LineKind::Method)
        throw HostError(proto.exportName + " is not called with arguments");
    switch (proto.result) {
    case ValueType::Int:
        v.i = reinterpret_cast<IntMethodFn>(pFunction)(aiDims, apArgs, pObject);
        break;
    case ValueType::Float:
        v.f = reinterpret_cast<FloatMethodFn>(pFunction)(aiDims, apArgs, pObject);
        break;
    case ValueType::Image:
        v.handle = reinterpret_cast<HandleMethodFn>(pFunction)(aiDims, apArgs, pObject);
        if (v.handle)
            adopt(v.handle, "CImage");
        break;
    case ValueType::Void:
        reinterpret_cast<VoidMethodFn>(pFunction)(aiDims, apArgs, pObject);
        break;
    default:
        throw HostError(proto.exportName + " returns an array, which no host call takes");
    }
    return v;
}

void* Module::create(const std::string& sClass, const std::vector<Arg>& args)
{
    const ClassTable& table = classTable(sClass);
    std::vector<const Prototype*> ctors = table.find(sClass, LineKind::Constructor);
    for (const Prototype* p : ctors)
        if (fits(*p, args, true)) {
            void* pHandle = invoke(*p, nullptr, args).handle;
            if (pHandle)
                adopt(pHandle, sClass);
            return pHandle;
        }
    throw HostError("no constructor " + describeCall(sClass, args));
}

Value Module::call(void* pObject, const std::string& sClass, const std::string& sMethod,
                   const std::vector<Arg>& args)
{
    return invoke(choose(classTable(sClass), sMethod, args), pObject, args);
}

Value Module::callFunction(const std::string& sName, const std::vector<Arg>& args)
{
    return invoke(choose(m_functions, sName, args), nullptr, args);
}

Value Module::callPrototype(const ClassTable& table, const Prototype& proto, void* pObject,
                            const std::vector<Arg>& args)
{
    if (!fits(proto, args, true))
        throw HostError("no " + proto.line + " takes " + describeCall(proto.name, args));
    Value v = invoke(proto, pObject, args);
    if (proto.kind == LineKind::Constructor && v.handle)
        adopt(v.handle, table.name);
    return v;
}

Value Module::callExport(const std::string& sExport, ValueType result, void* pObject,
                         const std::vector<Arg>& args)
{
    Prototype proto;
    proto.exportName = sExport;
    proto.result = result;
    for (const Arg& a : args) {
        Parameter p;
        p.type = a.type();
        proto.params.push_back(p);
    }
    return invoke(proto, pObject, args);
}

void Module::adopt(void* pHandle, const std::string& sClass)
{
    m_owned[pHandle] = sClass;
    m_ownedOrder.push_back(pHandle);
}

void Module::release(void* pHandle)
{
    auto it = m_owned.find(pHandle);
    if (it == m_owned.end())
        throw HostError("release of a handle the host does not own");
    const std::string owner = it->second;
    m_owned.erase(it);
    m_ownedOrder.erase(std::remove(m_ownedOrder.begin(), m_ownedOrder.end(), pHandle),
                       m_ownedOrder.end());
    if (owner.rfind(kPinOwner, 0) == 0) {
        pinFree(owner.substr(sizeof kPinOwner - 1), pHandle);
        return;
    }
    const std::vector<const Prototype*> dtors =
        classTable(owner).find(owner, LineKind::Destructor);
    if (dtors.empty())
        throw HostError("class " + owner + " has no destructor");
    reinterpret_cast<DestructorFn>(requireSymbol(dtors[0]->exportName))(pHandle);
}

// --- Pin types --------------------------------------------------------------

const PinType* Module::pinType(const std::string& sName) const
{
    auto it = m_pinTypes.find(sName);
    return it == m_pinTypes.end() ? nullptr : &it->second;
}

namespace {
const PinType& requirePin(const Module& m, const std::string& sType)
{
    const PinType* p = m.pinType(sType);
    if (!p)
        throw HostError("unknown pin type " + sType);
    return *p;
}
} // namespace

int Module::pinCompatible(const std::string& sType, void* pA, void* pB)
{
    return requirePin(*this, sType).compatible(pA, pB);
}

void* Module::pinCopy(const std::string& sType, void* pTarget, void* pSource)
{
    void* pResult = requirePin(*this, sType).copy(pTarget, pSource);
    if (pResult && pResult != pTarget && !owns(pResult))
        adopt(pResult, kPinOwner + sType);
    return pResult;
}

std::string Module::pinDescribe(const std::string& sType, void* pValue)
{
    const PinType& pin = requirePin(*this, sType);
    if (!pin.describe)
        throw HostError("pin type " + sType + " has no description");
    const char* pcText = pin.describe(pValue);
    return pcText ? pcText : "";
}

void Module::pinFree(const std::string& sType, void* pValue)
{
    const PinType& pin = requirePin(*this, sType);
    if (m_owned.erase(pValue))
        m_ownedOrder.erase(std::remove(m_ownedOrder.begin(), m_ownedOrder.end(), pValue),
                           m_ownedOrder.end());
    pin.free(pValue);
}

// --- What the entry points record ---------------------------------------------

std::vector<ScriptError> Module::takeErrors()
{
    std::vector<ScriptError> errors;
    errors.swap(m_errors);
    return errors;
}

std::vector<std::string> Module::takeWarnings()
{
    std::vector<std::string> warnings;
    warnings.swap(m_warnings);
    return warnings;
}

void Module::raise(const char* pcKind, const std::string& sMessage)
{
    m_errors.push_back({pcKind ? pcKind : "", sMessage});
}

void Module::definePinType(const char* pcName, int (*compatible)(void*, void*),
                           void* (*copy)(void*, void*), void (*free)(void*))
{
    if (!compatible && !copy && !free) {
        m_pinTypes.erase(pcName);
        return;
    }
    PinType& pin = m_pinTypes[pcName];
    pin.name = pcName;
    pin.compatible = compatible;
    pin.copy = copy;
    pin.free = free;
}

void Module::describePinType(const char* pcName, const char* (*describe)(void*))
{
    auto it = m_pinTypes.find(pcName);
    if (it == m_pinTypes.end())
        throw HostError(std::string("description for unknown pin type ") + pcName);
    it->second.describe = describe;
}

void Module::basePinType(const char* pcName, const char* pcBase)
{
    auto it = m_pinTypes.find(pcName);
    if (it == m_pinTypes.end())
        throw HostError(std::string("base type for unknown pin type ") + pcName);
    it->second.baseType = pcBase ? pcBase : "";
}

} // namespace tirnhost
