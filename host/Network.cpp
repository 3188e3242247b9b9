#include "Network.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

extern "C" int qor_ctrl0(int, tirnhost::UnitRecord*);

namespace tirnhost {

namespace {

// Every live unit record and window record of every network, so that a
// pointer from the plug-in is checked before it is used.
std::map<UnitRecord*, Unit*> g_units;
std::map<WindowInfo*, WindowSlot*> g_infos;
const Dialog* g_pDialog = nullptr;
WindowSlot* g_pDrawing = nullptr;

std::string unitName(Unit* p)
{
    return p->icon().empty() ? std::string("unit") : p->icon();
}

bool isArray(PinKind k) { return k == PinKind::FloatArray || k == PinKind::ByteArray; }

const char* kindName(PinKind k)
{
    switch (k) {
    case PinKind::Image: return "image";
    case PinKind::Value: return "value";
    case PinKind::FloatArray: return "float array";
    case PinKind::ByteArray: return "byte array";
    case PinKind::Pair: return "pair";
    }
    return "?";
}

// Restores the dialog the plug-in may read while a callback runs.
struct DialogScope
{
    explicit DialogScope(const Dialog* p) : saved(g_pDialog) { g_pDialog = p; }
    ~DialogScope() { g_pDialog = saved; }
    const Dialog* saved;
};

} // namespace

void beginDraw(WindowSlot* pSlot)
{
    if (g_pDrawing)
        throw HostError("qor_begin_draw2 on window \"" + pSlot->window.name() +
                        "\" while drawing on \"" + g_pDrawing->window.name() + "\"");
    g_pDrawing = pSlot;
}

// A host-level operation starts with no drawing left over from a failure.
void resetDrawing() { g_pDrawing = nullptr; }

void endDraw()
{
    if (!g_pDrawing)
        throw HostError("qor_end_draw with no drawing begun");
    g_pDrawing = nullptr;
}

WindowSlot* drawingSlot(const char* pcCaller)
{
    if (!g_pDrawing)
        throw HostError(std::string(pcCaller) + " outside qor_begin_draw2 ... qor_end_draw");
    g_pDrawing->sync();
    return g_pDrawing;
}

PinSpec pinSpecOf(const std::string& s)
{
    PinSpec spec;
    if (s.size() > 2 && s.front() == '<' && s.back() == '>') {
        const std::string inner = s.substr(1, s.size() - 2);
        if (inner == "F")
            spec.kind = PinKind::FloatArray;
        else if (inner == "C")
            spec.kind = PinKind::ByteArray;
        else {
            spec.kind = PinKind::Image;
            spec.typeName = inner;
        }
        return spec;
    }
    if (s == "s2") {
        spec.kind = PinKind::Pair;
        return spec;
    }
    if (s.size() > 1 && (s[0] == 'f' || s[0] == 'c') &&
        s.find_first_not_of("0123456789", 1) == std::string::npos && s.size() < 11) {
        spec.kind = s[0] == 'f' ? PinKind::FloatArray : PinKind::ByteArray;
        spec.fixedLength = std::stoi(s.substr(1));
        return spec;
    }
    throw HostError("unknown pin type text \"" + s + "\"");
}

// --- Unit ------------------------------------------------------------------

void Unit::build(const std::vector<std::vector<PinSpec>>& groups,
                 std::vector<PinGroupRecord>& records, std::vector<std::vector<PinRecord>>& pins,
                 std::vector<std::vector<float>>& values, std::vector<Pin>& flat)
{
    records.assign(groups.size(), PinGroupRecord{0, 0, nullptr});
    pins.assign(groups.size(), {});
    values.assign(groups.size(), {});
    for (std::size_t g = 0; g < groups.size(); ++g) {
        pins[g].assign(groups[g].size(), PinRecord{nullptr, 0, 0});
        std::size_t nValues = 0;
        for (const PinSpec& s : groups[g])
            nValues += s.kind == PinKind::Value;
        values[g].assign(nValues, 0.0f);
        records[g].iPins = int(groups[g].size());
        records[g].pPins = pins[g].empty() ? nullptr : pins[g].data();
    }
    for (std::size_t g = 0; g < groups.size(); ++g) {
        std::size_t v = 0;
        for (std::size_t i = 0; i < groups[g].size(); ++i) {
            Pin pin;
            pin.spec = groups[g][i];
            pin.record = &pins[g][i];
            flat.push_back(std::move(pin));
            Pin& p = flat.back();
            switch (p.spec.kind) {
            case PinKind::Value:
                p.record->pValue = &values[g][v++];
                break;
            case PinKind::Pair:
                p.floats.assign(2, 0.0f);
                break;
            case PinKind::FloatArray:
                if (p.spec.fixedLength >= 0)
                    p.floats.assign(std::size_t(p.spec.fixedLength), 0.0f);
                break;
            case PinKind::ByteArray:
                if (p.spec.fixedLength >= 0)
                    p.bytes.assign(std::size_t(p.spec.fixedLength), 0);
                break;
            case PinKind::Image:
                break;
            }
        }
    }
    // Host-owned storage is in place once the pins no longer move.
    for (Pin& p : flat) {
        if (p.spec.kind == PinKind::Pair || (isArray(p.spec.kind) && p.spec.fixedLength >= 0)) {
            const bool bFloats = p.spec.kind != PinKind::ByteArray;
            p.record->pValue = bFloats ? static_cast<void*>(p.floats.data())
                                       : static_cast<void*>(p.bytes.data());
            p.record->iLength = int(bFloats ? p.floats.size() : p.bytes.size());
            p.record->iHostOwned = 1;
        }
    }
}

Unit::Unit(Network& net, const std::vector<std::vector<PinSpec>>& inputs,
           const std::vector<std::vector<PinSpec>>& outputs)
    : m_net(net)
{
    std::size_t nIn = 0, nOut = 0;
    for (const auto& g : inputs)
        nIn += g.size();
    for (const auto& g : outputs)
        nOut += g.size();
    m_inputs.reserve(nIn);
    m_outputs.reserve(nOut);
    build(inputs, m_inputGroups, m_inputPins, m_inputValues, m_inputs);
    build(outputs, m_outputGroups, m_outputPins, m_outputValues, m_outputs);
    m_record.pfCtrl = qor_ctrl0;
    m_record.iInputGroups = int(m_inputGroups.size());
    m_record.pInputGroups = m_inputGroups.empty() ? nullptr : m_inputGroups.data();
    m_record.iOutputGroups = int(m_outputGroups.size());
    m_record.pOutputGroups = m_outputGroups.empty() ? nullptr : m_outputGroups.data();
    m_record.pHost = this;
}

Unit::Pin& Unit::pin(bool bOutput, int iPin, const char* pcWhat)
{
    std::vector<Pin>& pins = bOutput ? m_outputs : m_inputs;
    if (iPin < 0 || iPin >= int(pins.size()))
        throw HostError(std::string(pcWhat) + ": " + unitName(this) + " has no " +
                        (bOutput ? "output" : "input") + " pin " + std::to_string(iPin) +
                        " (it has " + std::to_string(pins.size()) + ")");
    return pins[std::size_t(iPin)];
}

int Unit::inputGroupSize(int g) const
{
    if (g < 0 || g >= int(m_inputGroups.size()))
        throw HostError(unitName(const_cast<Unit*>(this)) + " has no input group " +
                        std::to_string(g));
    return m_inputGroups[std::size_t(g)].iPins;
}

const PinSpec& Unit::inputSpec(int i) const
{
    return const_cast<Unit*>(this)->pin(false, i, "inputSpec").spec;
}
const PinSpec& Unit::outputSpec(int i) const
{
    return const_cast<Unit*>(this)->pin(true, i, "outputSpec").spec;
}
PinRecord& Unit::input(int i) { return *pin(false, i, "input").record; }
PinRecord& Unit::output(int i) { return *pin(true, i, "output").record; }

void Unit::setValue(int iPin, float f)
{
    Pin& p = pin(false, iPin, "setValue");
    if (p.spec.kind != PinKind::Value)
        throw HostError("setValue: input pin " + std::to_string(iPin) + " of " + unitName(this) +
                        " is a " + kindName(p.spec.kind) + " pin");
    *static_cast<float*>(p.record->pValue) = f;
}

float Unit::value(int iPin)
{
    Pin& p = pin(false, iPin, "value");
    if (p.spec.kind != PinKind::Value)
        throw HostError("value: input pin " + std::to_string(iPin) + " of " + unitName(this) +
                        " is a " + kindName(p.spec.kind) + " pin");
    return *static_cast<float*>(p.record->pValue);
}

namespace {
int flatIndex(const std::vector<PinGroupRecord>& groups, int g, int i, const std::string& sUnit)
{
    if (g < 0 || g >= int(groups.size()) || i < 0 || i >= groups[std::size_t(g)].iPins)
        throw HostError(sUnit + " has no pin " + std::to_string(i) + " in input group " +
                        std::to_string(g));
    int n = i;
    for (int k = 0; k < g; ++k)
        n += groups[std::size_t(k)].iPins;
    return n;
}
} // namespace

void Unit::setGroupValue(int g, int i, float f)
{
    setValue(flatIndex(m_inputGroups, g, i, unitName(this)), f);
}

float Unit::groupValue(int g, int i) { return value(flatIndex(m_inputGroups, g, i, unitName(this))); }

void Unit::setPair(int iPin, float a, float b)
{
    Pin& p = pin(false, iPin, "setPair");
    if (p.spec.kind != PinKind::Pair)
        throw HostError("setPair: input pin " + std::to_string(iPin) + " of " + unitName(this) +
                        " is a " + kindName(p.spec.kind) + " pin");
    p.floats[0] = a;
    p.floats[1] = b;
}

void Unit::setFloats(int iPin, const std::vector<float>& values)
{
    Pin& p = pin(false, iPin, "setFloats");
    if (p.spec.kind != PinKind::FloatArray)
        throw HostError("setFloats: input pin " + std::to_string(iPin) + " of " +
                        unitName(this) + " is a " + kindName(p.spec.kind) + " pin");
    if (p.spec.fixedLength >= 0) {
        std::fill(p.floats.begin(), p.floats.end(), 0.0f);
        std::copy_n(values.begin(), std::min(values.size(), p.floats.size()), p.floats.begin());
        return;
    }
    p.floats = values;
    p.record->pValue = p.floats.empty() ? nullptr : p.floats.data();
    p.record->iLength = int(p.floats.size());
    p.record->iHostOwned = 1;
}

void Unit::setBytes(int iPin, const std::vector<unsigned char>& values)
{
    Pin& p = pin(false, iPin, "setBytes");
    if (p.spec.kind != PinKind::ByteArray)
        throw HostError("setBytes: input pin " + std::to_string(iPin) + " of " +
                        unitName(this) + " is a " + kindName(p.spec.kind) + " pin");
    if (p.spec.fixedLength >= 0) {
        std::fill(p.bytes.begin(), p.bytes.end(), 0);
        std::copy_n(values.begin(), std::min(values.size(), p.bytes.size()), p.bytes.begin());
        return;
    }
    p.bytes = values;
    p.record->pValue = p.bytes.empty() ? nullptr : p.bytes.data();
    p.record->iLength = int(p.bytes.size());
    p.record->iHostOwned = 1;
}

std::vector<float> Unit::floats(int iPin, bool bOutput)
{
    Pin& p = pin(bOutput, iPin, "floats");
    if (p.spec.kind != PinKind::FloatArray && p.spec.kind != PinKind::Pair)
        throw HostError("floats: pin " + std::to_string(iPin) + " of " + unitName(this) +
                        " is a " + kindName(p.spec.kind) + " pin");
    const float* pData = static_cast<const float*>(p.record->pValue);
    return pData ? std::vector<float>(pData, pData + p.record->iLength) : std::vector<float>();
}

std::vector<unsigned char> Unit::bytes(int iPin, bool bOutput)
{
    Pin& p = pin(bOutput, iPin, "bytes");
    if (p.spec.kind != PinKind::ByteArray)
        throw HostError("bytes: pin " + std::to_string(iPin) + " of " + unitName(this) +
                        " is a " + kindName(p.spec.kind) + " pin");
    const unsigned char* pData = static_cast<const unsigned char*>(p.record->pValue);
    return pData ? std::vector<unsigned char>(pData, pData + p.record->iLength)
                 : std::vector<unsigned char>();
}

void Unit::reassign(int iPin, int iLength, void* pData)
{
    Pin& p = pin(true, iPin, "qor_reassign");
    if (p.record->iHostOwned) { // the host's array goes
        p.floats.clear();
        p.bytes.clear();
    }
    p.record->pValue = pData;
    p.record->iLength = iLength;
    p.record->iHostOwned = 0;
}

void* Unit::inputImage(int iPin) { return pin(false, iPin, "inputImage").record->pValue; }
void* Unit::outputImage(int iPin) { return pin(true, iPin, "outputImage").record->pValue; }

// --- Windows -----------------------------------------------------------------

void WindowSlot::sync()
{
    if (info && (info->iX != pushedX || info->iY != pushedY))
        window.move(info->iX, info->iY);
    push();
}

void WindowSlot::push()
{
    if (!info)
        return;
    const std::string& s = window.name();
    name.assign(s.begin(), s.end());
    name.push_back('\0');
    info->pcName = name.data();
    info->iX = window.x();
    info->iY = window.y();
    info->iWidth = window.width();
    info->iHeight = window.height();
    info->iShown = window.shown() ? 1 : 0;
    info->iSizeLocked = window.sizeLocked() ? 1 : 0;
    pushedX = info->iX;
    pushedY = info->iY;
}

// --- Network -----------------------------------------------------------------

Network::Network(Module& module) : m_module(module)
{
    m_holder = newUnit({}, {});
    m_holder->m_bHolder = true;
    m_holder->m_sIcon = "network";
    m_order.clear();
}

Network::~Network()
{
    while (!m_order.empty()) {
        try {
            remove(m_order.back());
        } catch (const std::exception& e) {
            std::fprintf(stderr, "tirnhost: removing a unit: %s\n", e.what());
            destroy(m_order.back());
        }
    }
    for (auto& info : m_infos)
        g_infos.erase(info.get());
    g_units.erase(m_holder->record());
}

Network* Network::of(UnitRecord* pRecord)
{
    auto it = g_units.find(pRecord);
    return it == g_units.end() ? nullptr : &it->second->m_net;
}

Unit* Network::unitOf(UnitRecord* pRecord, const char* pcCaller)
{
    auto it = g_units.find(pRecord);
    if (it == g_units.end())
        throw HostError(std::string(pcCaller) + ": not a unit of this host");
    return it->second;
}

Unit* Network::newUnit(const std::vector<std::vector<PinSpec>>& inputs,
                       const std::vector<std::vector<PinSpec>>& outputs)
{
    m_units.push_back(std::unique_ptr<Unit>(new Unit(*this, inputs, outputs)));
    Unit* p = m_units.back().get();
    g_units[p->record()] = p;
    m_order.push_back(p);
    return p;
}

const IconDef& Network::icon(const std::string& sFolder, const std::string& sIcon) const
{
    const auto* pFolder =
        static_cast<const FolderRecord*>(m_module.symbol("gsFolder_" + m_module.name()));
    if (!pFolder)
        throw HostError("the module exports no gsFolder_" + m_module.name());
    if (!pFolder->pcName || sFolder != pFolder->pcName)
        throw HostError("the module has no folder \"" + sFolder + "\"");
    for (const IconEntry* p = pFolder->pIcons; p && p->pcFolder && p->pcIcon; ++p) {
        if (!*p->pcFolder && !*p->pcIcon)
            break;
        if (sFolder == p->pcFolder && sIcon == p->pcIcon) {
            if (!p->pDef)
                throw HostError("icon " + sFolder + "/" + sIcon + " has no definition");
            return *p->pDef;
        }
    }
    throw HostError("folder \"" + sFolder + "\" has no icon \"" + sIcon + "\"");
}

Dialog Network::answered(const char* pcDescription, const std::vector<Answer>& answers) const
{
    Dialog d(pcDescription ? pcDescription : "");
    for (const Answer& a : answers) {
        if (!a.label.empty())
            d.answer(a.label, a.value);
        else if (a.isText)
            d.answerText(a.field, a.value);
        else
            d.answer(a.field, a.value);
    }
    return d;
}

Unit* Network::create(const std::string& sFolder, const std::string& sIcon,
                      const std::vector<Answer>& answers)
{
    enter();
    const IconDef& def = icon(sFolder, sIcon);
    if (!def.pfCreate)
        throw HostError("icon " + sIcon + " has no creation callback");
    const Dialog d = answered(def.pcDialog, answers);
    const std::size_t nBefore = m_order.size();
    UnitRecord* pRecord = nullptr;
    {
        DialogScope scope(&d);
        pRecord = def.pfCreate(0, 0, const_cast<IconDef*>(&def), holder());
    }
    dropReleased();
    if (!pRecord)
        return nullptr;
    Unit* p = unitOf(pRecord, "the icon's creation callback");
    if (std::find(m_order.begin() + long(nBefore), m_order.end(), p) == m_order.end())
        throw HostError("icon " + sIcon + " returned a unit it did not create");
    p->m_sFolder = sFolder;
    p->m_sIcon = sIcon;
    p->m_pIcon = &def;
    return p;
}

void Network::dropReleased()
{
    std::vector<Unit*> dropped;
    for (Unit* p : m_order)
        if (p->m_bReleased)
            dropped.push_back(p);
    for (Unit* p : dropped)
        destroy(p);
}

void Network::enter()
{
    dropReleased();
    resetDrawing();
    for (auto& slot : m_windows)
        slot->sync();
}

Unit* Network::adopt(UnitRecord* pRecord, const std::string& sFolder, const std::string& sIcon)
{
    if (!pRecord)
        return nullptr;
    Unit* p = find(unitOf(pRecord, "adopt"), "adopt");
    p->m_pIcon = &icon(sFolder, sIcon);
    p->m_sFolder = sFolder;
    p->m_sIcon = sIcon;
    return p;
}

int Network::applySecondDialog(Unit* pUnit, const std::vector<Answer>& answers)
{
    enter();
    find(pUnit, "applySecondDialog");
    if (!pUnit->m_pIcon || !pUnit->m_pIcon->pfApply)
        throw HostError("applySecondDialog: " + unitName(pUnit) + " has no second dialog");
    const Dialog d = answered(pUnit->m_pIcon->pcDialog2, answers);
    DialogScope scope(&d);
    return pUnit->m_pIcon->pfApply(0, 0, const_cast<IconDef*>(pUnit->m_pIcon), pUnit->record());
}

Unit* Network::find(Unit* pUnit, const char* pcWhat) const
{
    if (!pUnit || std::find(m_order.begin(), m_order.end(), pUnit) == m_order.end())
        throw HostError(std::string(pcWhat) + ": not a unit of this network");
    return pUnit;
}

void Network::connect(Unit* pFrom, int iOutput, Unit* pTo, int iInput)
{
    find(pFrom, "connect");
    find(pTo, "connect");
    const PinSpec& out = pFrom->pin(true, iOutput, "connect").spec;
    const PinSpec& in = pTo->pin(false, iInput, "connect").spec;
    const bool bFits = out.kind == in.kind && (out.kind != PinKind::Image || out.typeName == in.typeName);
    if (!bFits)
        throw HostError("connect: output " + std::to_string(iOutput) + " of " + unitName(pFrom) +
                        " (" + kindName(out.kind) + " " + out.typeName + ") does not fit input " +
                        std::to_string(iInput) + " of " + unitName(pTo) + " (" +
                        kindName(in.kind) + " " + in.typeName + ")");
    for (const Connection& c : m_connections)
        if (c.to == pTo && c.input == iInput)
            throw HostError("connect: input " + std::to_string(iInput) + " of " +
                            unitName(pTo) + " is connected already");
    m_connections.push_back({pFrom, iOutput, pTo, iInput});
}

namespace {
void copyImage(Module& m, const std::string& sType, PinRecord& d, void* pSource,
               const std::string& sWhat)
{
    if (d.pValue && !m.pinCompatible(sType, d.pValue, pSource))
        throw HostError(sWhat + ": the pin type calls the two images incompatible");
    if (void* pResult = m.pinCopy(sType, d.pValue, pSource))
        d.pValue = pResult;
}
} // namespace

void Network::setInputImage(Unit* pUnit, int iInput, void* pImage)
{
    find(pUnit, "setInputImage");
    Unit::Pin& p = pUnit->pin(false, iInput, "setInputImage");
    if (p.spec.kind != PinKind::Image)
        throw HostError("setInputImage: input " + std::to_string(iInput) + " of " +
                        unitName(pUnit) + " is no image pin");
    if (!pImage)
        throw HostError("setInputImage: a null image");
    copyImage(m_module, p.spec.typeName, *p.record, pImage,
              "setInputImage, input " + std::to_string(iInput) + " of " + unitName(pUnit));
}

void Network::feed(Unit* pUnit)
{
    for (const Connection& c : m_connections) {
        if (c.to != pUnit)
            continue;
        Unit::Pin& src = c.from->m_outputs[std::size_t(c.output)];
        Unit::Pin& dst = pUnit->m_inputs[std::size_t(c.input)];
        PinRecord& s = *src.record;
        PinRecord& d = *dst.record;
        switch (dst.spec.kind) {
        case PinKind::Image: {
            if (s.pValue)
                copyImage(m_module, dst.spec.typeName, d, s.pValue,
                          "run, output " + std::to_string(c.output) + " of " + unitName(c.from) +
                              " to input " + std::to_string(c.input) + " of " + unitName(pUnit));
            break;
        }
        case PinKind::Value:
            *static_cast<float*>(d.pValue) = *static_cast<float*>(s.pValue);
            break;
        case PinKind::Pair:
            std::copy_n(static_cast<float*>(s.pValue), 2, dst.floats.data());
            break;
        case PinKind::FloatArray:
        case PinKind::ByteArray: {
            const std::size_t size = dst.spec.kind == PinKind::FloatArray ? 4 : 1;
            if (dst.spec.fixedLength < 0) { // shows the output's array
                d.pValue = s.pValue;
                d.iLength = s.iLength;
                d.iHostOwned = 0;
                break;
            }
            const int n = std::min(d.iLength, s.pValue ? s.iLength : 0);
            std::memset(d.pValue, 0, std::size_t(d.iLength) * size);
            if (n > 0)
                std::memcpy(d.pValue, s.pValue, std::size_t(n) * size);
            break;
        }
        }
    }
}

bool Network::run(const std::vector<Unit*>& order)
{
    enter();
    for (Unit* p : order)
        find(p, "run");
    for (Unit* p : order) {
        feed(p);
        if (!p->m_record.pfExec)
            continue;
        const std::size_t nErrors = m_module.errors().size();
        p->m_record.pfExec(p->record());
        if (m_module.errors().size() > nErrors)
            return false;
    }
    return true;
}

int Network::control(Unit* pUnit, int iCode)
{
    enter();
    find(pUnit, "control");
    UnitCtrlFn pf = pUnit->m_record.pfCtrl;
    return pf ? pf(iCode, pUnit->record()) : 0;
}

void Network::controlAttached(Unit* pUnit, int iCode)
{
    std::vector<Unit*> attached;
    for (const Connection& c : m_connections)
        if (c.from == pUnit && c.to != pUnit &&
            std::find(attached.begin(), attached.end(), c.to) == attached.end())
            attached.push_back(c.to);
    for (Unit* p : attached)
        if (p->m_record.pfCtrl)
            p->m_record.pfCtrl(iCode, p->record());
}

void Network::releasePins(Unit* pUnit)
{
    if (pUnit->m_bReleased)
        return;
    pUnit->m_bReleased = true;
    for (auto* pPins : {&pUnit->m_inputs, &pUnit->m_outputs})
        for (Unit::Pin& p : *pPins) {
            PinRecord& r = *p.record;
            if (p.spec.kind == PinKind::Image && r.pValue) {
                void* pImage = r.pValue;
                r.pValue = nullptr;
                if (m_module.pinType(p.spec.typeName))
                    m_module.pinFree(p.spec.typeName, pImage);
            } else if (isArray(p.spec.kind) || p.spec.kind == PinKind::Pair) {
                r.pValue = nullptr;
                r.iLength = 0;
                r.iHostOwned = 0;
                p.floats.clear();
                p.bytes.clear();
            }
        }
    removeWindowsOf(pUnit);
}

void Network::remove(Unit* pUnit)
{
    enter();
    find(pUnit, "remove");
    if (pUnit->m_record.pfRemove)
        pUnit->m_record.pfRemove(pUnit->record());
    else
        releasePins(pUnit);
    releasePins(pUnit); // what a remove callback left behind
    destroy(pUnit);
}

void Network::destroy(Unit* pUnit)
{
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [&](const Connection& c) {
                                           return c.from == pUnit || c.to == pUnit;
                                       }),
                        m_connections.end());
    removeWindowsOf(pUnit);
    m_order.erase(std::remove(m_order.begin(), m_order.end(), pUnit), m_order.end());
    g_units.erase(pUnit->record());
    m_units.erase(std::remove_if(m_units.begin(), m_units.end(),
                                 [&](const std::unique_ptr<Unit>& u) { return u.get() == pUnit; }),
                  m_units.end());
}

// --- Windows of the network ---------------------------------------------------------

WindowInfo* Network::openWindow(const char* pcName, bool bRgb, int iShow, int x, int y, int w,
                                int h, Unit* pOwner)
{
    auto slot = std::make_unique<WindowSlot>(
        WindowSlot{Window(pcName ? pcName : "", bRgb, iShow != 0, x, y, w, h), nullptr, {},
                   pOwner});
    m_infos.push_back(std::make_unique<WindowInfo>());
    WindowInfo* pInfo = m_infos.back().get();
    *pInfo = WindowInfo{};
    pInfo->pHost = slot.get();
    slot->info = pInfo;
    slot->push();
    g_infos[pInfo] = slot.get();
    m_windows.push_back(std::move(slot));
    return pInfo;
}

WindowSlot* Network::slotOf(WindowInfo* pInfo, const char* pcCaller)
{
    auto it = g_infos.find(pInfo);
    if (it == g_infos.end())
        throw HostError(std::string(pcCaller) + ": not a window record of this host");
    it->second->sync();
    return it->second;
}

void Network::freeInfo(WindowSlot* pSlot)
{
    WindowInfo* pInfo = pSlot->info;
    if (!pInfo)
        return;
    pSlot->sync();
    g_infos.erase(pInfo);
    pSlot->info = nullptr;
    m_infos.erase(std::remove_if(m_infos.begin(), m_infos.end(),
                                 [&](const std::unique_ptr<WindowInfo>& p) {
                                     return p.get() == pInfo;
                                 }),
                  m_infos.end());
}

void Network::removeWindowsOf(Unit* pUnit)
{
    for (auto& slot : m_windows)
        if (slot->owner == pUnit) {
            freeInfo(slot.get());
            if (g_pDrawing == slot.get())
                g_pDrawing = nullptr;
        }
    m_windows.erase(std::remove_if(m_windows.begin(), m_windows.end(),
                                   [&](const std::unique_ptr<WindowSlot>& s) {
                                       return s->owner == pUnit;
                                   }),
                    m_windows.end());
}

WindowInfo* Network::subwindowFor(const std::string& sName, Unit* pUnit)
{
    for (auto& slot : m_windows)
        if (!slot->owner && !slot->info && slot->window.name() == sName) {
            m_infos.push_back(std::make_unique<WindowInfo>());
            WindowInfo* pInfo = m_infos.back().get();
            *pInfo = WindowInfo{};
            pInfo->pHost = slot.get();
            slot->info = pInfo;
            slot->owner = pUnit;
            slot->push();
            g_infos[pInfo] = slot.get();
            return pInfo;
        }
    return nullptr;
}

Window& Network::addSubwindow(const std::string& sName, bool bRgb, int w, int h)
{
    m_windows.push_back(std::make_unique<WindowSlot>(
        WindowSlot{Window(sName, bRgb, true, 0, 0, w, h), nullptr, {}, nullptr}));
    return m_windows.back()->window;
}

Window* Network::windowOf(Unit* pUnit)
{
    for (auto& slot : m_windows)
        if (slot->owner == pUnit) {
            slot->sync();
            return &slot->window;
        }
    return nullptr;
}

std::vector<Window*> Network::windows()
{
    std::vector<Window*> all;
    for (auto& slot : m_windows) {
        slot->sync();
        all.push_back(&slot->window);
    }
    return all;
}

void Network::resizeWindow(Unit* pUnit, int w, int h)
{
    for (auto& slot : m_windows)
        if (slot->owner == pUnit) {
            slot->sync();
            slot->window.resize(w, h);
            slot->push();
            return;
        }
    throw HostError("resizeWindow: " + unitName(pUnit) + " has no window");
}

// --- Saved networks -------------------------------------------------------------

namespace {
const char kHeader[] = "tirnhost network 1";

bool readLine(std::FILE* f, std::string& line)
{
    line.clear();
    int c;
    while ((c = std::fgetc(f)) != EOF && c != '\n')
        line += char(c);
    return c != EOF || !line.empty();
}

struct File
{
    File(const std::string& sPath, const char* pcMode) : p(std::fopen(sPath.c_str(), pcMode))
    {
        if (!p)
            throw HostError("cannot open " + sPath);
    }
    ~File() { std::fclose(p); }
    std::FILE* p;
};
} // namespace

void Network::save(const std::string& sPath)
{
    enter();
    File f(sPath, "w+");
    std::fprintf(f.p, "%s\n", kHeader);
    for (std::size_t i = 0; i < m_order.size(); ++i) {
        Unit* p = m_order[i];
        std::fprintf(f.p, "unit %zu %s/%s\n", i, p->m_sFolder.c_str(), p->m_sIcon.c_str());
        if (p->m_record.pfSave) {
            std::fflush(f.p);
            const long start = std::ftell(f.p);
            p->m_record.pfSave(f.p, p->record());
            std::fflush(f.p);
            const long end = std::ftell(f.p);
            // The end line stands on a line of its own.
            if (end > start) {
                std::fseek(f.p, end - 1, SEEK_SET);
                const int last = std::fgetc(f.p);
                std::fseek(f.p, 0, SEEK_END);
                if (last != '\n')
                    std::fputc('\n', f.p);
            }
        }
        std::fprintf(f.p, "end\n");
    }
    if (std::ferror(f.p))
        throw HostError("cannot write " + sPath);
}

void Network::load(const std::string& sPath)
{
    enter();
    File f(sPath, "r");
    std::string line;
    if (!readLine(f.p, line) || line != kHeader)
        throw HostError(sPath + " is not a saved network (no \"" + kHeader + "\" line)");
    int iLine = 1;
    while (readLine(f.p, line)) {
        ++iLine;
        if (line.empty())
            continue;
        std::size_t index = 0;
        char acName[256] = "";
        if (std::sscanf(line.c_str(), "unit %zu %255s", &index, acName) != 2)
            throw HostError(sPath + ", line " + std::to_string(iLine) +
                            ": expected \"unit <index> <folder>/<icon>\"");
        if (index >= m_order.size())
            throw HostError(sPath + ", line " + std::to_string(iLine) + ": the network has no unit " +
                            std::to_string(index));
        Unit* p = m_order[index];
        const std::string sName = p->m_sFolder + "/" + p->m_sIcon;
        if (sName != acName)
            throw HostError(sPath + ", line " + std::to_string(iLine) + ": unit " +
                            std::to_string(index) + " is " + sName + ", not " + acName);
        if (p->m_record.pfLoad)
            p->m_record.pfLoad(f.p, p->record());
        // Whatever the callback left unread, up to the record's end.
        bool bEnd = false;
        while (!bEnd && readLine(f.p, line)) {
            ++iLine;
            bEnd = line == "end";
        }
        if (!bEnd)
            throw HostError(sPath + ": unit " + std::to_string(index) + " has no end line");
    }
}

const Dialog* currentDialog() { return g_pDialog; }

} // namespace tirnhost
