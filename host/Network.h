// The host's networks of units, seen from the host's side: units created
// from a plug-in's folder through their icon dialogs, pins and their values,
// connections, runs in a given order, control codes, saved unit states, and
// the units' windows.
//
//   tirnhost::Network net(module);
//   Unit* conv = net.create("tirnvision", "ConvolutionFilter",
//                           {{"Filtertype", "1.G"}, {"Orientation", "45"}});
//   Unit* disp = net.create("tirnvision", "display_image", {{"Zoom", "2"}});
//   net.connect(conv, 0, disp, 0);
//   net.run({conv, disp});
//   net.windowOf(disp)->savePng("out/conv.png");
//
// A Network must go before its Module. Pins are counted from 0 across a
// unit's input (or output) groups, as the plug-in counts them.
//
// The saved-network file format, one record per unit in network order:
//
//   tirnhost network 1
//   unit <index> <folder>/<icon>
//   ...whatever the unit's save callback wrote...
//   end
//
// Position records of windows (qor_write_posinfo) are one line:
//
//   posinfo <x> <y> <width> <height> <shown 0|1> <name to the line's end>
#ifndef TIRNHOST_NETWORK_H
#define TIRNHOST_NETWORK_H

#include <memory>
#include <string>
#include <vector>

#include "Dialog.h"
#include "HostRecords.h"
#include "TirnHost.h"
#include "Window.h"

namespace tirnhost {

class Network;

// An answer to a dialog field, by its label or its number ("Filtertype" =
// "Laplace", field 4 = "45"). Text fields by number: Answer::text(0, ...).
struct Answer
{
    Answer(const char* pcLabel, std::string sValue) : label(pcLabel), value(std::move(sValue)) {}
    Answer(int iField, std::string sValue) : field(iField), value(std::move(sValue)) {}
    static Answer text(int iField, std::string sValue)
    {
        Answer a(iField, std::move(sValue));
        a.isText = true;
        return a;
    }
    std::string label;
    int field = -1;
    bool isText = false;
    std::string value;
};

enum class PinKind
{
    Image,      // pValue is the handle
    Value,      // one float (kinds 0xfa0a1f06 and 0xfa0a1f0a)
    FloatArray, // "<F>" or "f<n>"
    ByteArray,  // "<C>" or "c<n>"
    Pair        // "s2"
};

struct PinSpec
{
    PinKind kind = PinKind::Value;
    int fixedLength = -1;  // arrays: -1 any length
    std::string typeName;  // image pins
    unsigned int tag = 0;  // value pins: the tag that asked for them
};

// A unit as the host keeps it. The record is what the plug-in sees.
class Unit
{
public:
    UnitRecord* record() { return &m_record; }
    Network& network() { return m_net; }
    const std::string& icon() const { return m_sIcon; }
    const std::string& folder() const { return m_sFolder; }
    const std::string& labelText() const { return m_sLabel; }
    int flags() const { return m_record.iFlags; }

    int inputCount() const { return int(m_inputs.size()); }
    int outputCount() const { return int(m_outputs.size()); }
    int inputGroupCount() const { return int(m_inputGroups.size()); }
    int outputGroupCount() const { return int(m_outputGroups.size()); }
    int inputGroupSize(int g) const;
    const PinSpec& inputSpec(int iPin) const;
    const PinSpec& outputSpec(int iPin) const;
    PinRecord& input(int iPin);
    PinRecord& output(int iPin);

    // Value pins: by pin number or by group and position in the group.
    void setValue(int iPin, float fValue);
    float value(int iPin);
    void setGroupValue(int iGroup, int iIndex, float fValue);
    float groupValue(int iGroup, int iIndex);
    // "s2" pins.
    void setPair(int iPin, float a, float b);
    // Array inputs: the host's own copy of the values.
    void setFloats(int iPin, const std::vector<float>& values);
    void setBytes(int iPin, const std::vector<unsigned char>& values);
    // Array outputs (and inputs), as they stand.
    std::vector<float> floats(int iPin, bool bOutput = true);
    std::vector<unsigned char> bytes(int iPin, bool bOutput = true);
    void* inputImage(int iPin);
    void* outputImage(int iPin);

    // Used by the host entry points.
    void setLabel(const std::string& s) { m_sLabel = s; }
    // Output pin iPin now shows iLength elements at pData (not the host's).
    void reassign(int iPin, int iLength, void* pData);

private:
    friend class Network;
    friend struct UnitAccess;
    struct Pin
    {
        PinSpec spec;
        PinRecord* record = nullptr;
        std::vector<float> floats;         // host-owned array or s2 storage
        std::vector<unsigned char> bytes;  // host-owned byte array
    };
    Unit(Network& net, const std::vector<std::vector<PinSpec>>& inputs,
         const std::vector<std::vector<PinSpec>>& outputs);
    Pin& pin(bool bOutput, int iPin, const char* pcWhat);
    static void build(std::vector<std::vector<PinSpec>> const& groups,
                      std::vector<PinGroupRecord>& records,
                      std::vector<std::vector<PinRecord>>& pins,
                      std::vector<std::vector<float>>& values, std::vector<Pin>& flat);

    Network& m_net;
    UnitRecord m_record{};
    std::string m_sFolder, m_sIcon, m_sLabel;
    const IconDef* m_pIcon = nullptr;
    std::vector<PinGroupRecord> m_inputGroups, m_outputGroups;
    std::vector<std::vector<PinRecord>> m_inputPins, m_outputPins;
    std::vector<std::vector<float>> m_inputValues, m_outputValues; // value pins' floats
    std::vector<Pin> m_inputs, m_outputs;
    bool m_bReleased = false; // the default removal has run
    bool m_bHolder = false;
};

// A window of the network and what the plug-in sees of it.
struct WindowSlot
{
    Window window;
    WindowInfo* info = nullptr; // null once the plug-in freed it
    std::vector<char> name;     // what info->pcName points at
    Unit* owner = nullptr;
    int pushedX = 0, pushedY = 0; // the position last written into the record
    // Both sides up to date: a position the plug-in wrote into the record
    // (loading a saved one) moves the window; everything else goes from the
    // window into the record.
    void sync();
    void push();
};

class Network
{
public:
    explicit Network(Module& module);
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    Module& module() { return m_module; }
    // The unit that holds the network's units (what icon callbacks get).
    UnitRecord* holder() { return m_holder->record(); }

    // The icon definition of a folder's icon; throws HostError if none.
    const IconDef& icon(const std::string& sFolder, const std::string& sIcon) const;
    // The first dialog answered, then the icon's first callback: the new
    // unit, or null when the plug-in refused (its warnings say why).
    Unit* create(const std::string& sFolder, const std::string& sIcon,
                 const std::vector<Answer>& answers = {});
    // A unit that a plug-in's exported creation function made in holder()
    // (what no dialog can ask for), named after the folder's icon it is an
    // instance of; null stays null.
    Unit* adopt(UnitRecord* pRecord, const std::string& sFolder, const std::string& sIcon);
    // The second dialog answered, then the icon's second callback.
    int applySecondDialog(Unit* pUnit, const std::vector<Answer>& answers = {});

    // An image given to an input pin as a connection gives it: copied into
    // the pin's own image through the pin type.
    void setInputImage(Unit* pUnit, int iInput, void* pImage);
    // Output pin of one unit to input pin of another; an input takes one
    // connection.
    void connect(Unit* pFrom, int iOutput, Unit* pTo, int iInput);
    // Each unit in turn: its inputs from their connections, then its exec
    // callback. Stops after a unit raised a script error; returns whether
    // all ran.
    bool run(const std::vector<Unit*>& order);
    // A control code through the unit's control hook; the answer.
    int control(Unit* pUnit, int iCode);
    // Removal as the host does it: the remove callback (or the default).
    void remove(Unit* pUnit);

    void save(const std::string& sPath);
    void load(const std::string& sPath);

    const std::vector<Unit*>& units() const { return m_order; }
    // The unit's (first) window; null if it has none.
    Window* windowOf(Unit* pUnit);
    std::vector<Window*> windows();
    // What the user does to a window: a new size (no control code sent).
    void resizeWindow(Unit* pUnit, int w, int h);
    // A subwindow the host offers for rebinding (control code -38).
    Window& addSubwindow(const std::string& sName, bool bRgb, int w, int h);

    // Used by the host entry points.
    static Network* of(UnitRecord* pRecord); // null if not a live unit record
    static Unit* unitOf(UnitRecord* pRecord, const char* pcCaller);
    Unit* newUnit(const std::vector<std::vector<PinSpec>>& inputs,
                  const std::vector<std::vector<PinSpec>>& outputs);
    WindowInfo* openWindow(const char* pcName, bool bRgb, int iShow, int x, int y, int w, int h,
                           Unit* pOwner);
    static WindowSlot* slotOf(WindowInfo* pInfo, const char* pcCaller);
    void freeInfo(WindowSlot* pSlot);
    void removeWindowsOf(Unit* pUnit);
    WindowInfo* subwindowFor(const std::string& sName, Unit* pUnit);
    void releasePins(Unit* pUnit); // the default removal
    void controlAttached(Unit* pUnit, int iCode);
    const Dialog* dialog() const { return m_pDialog; }

private:
    struct Connection
    {
        Unit* from;
        int output;
        Unit* to;
        int input;
    };
    // Every host-level operation starts here: no drawing left over from a
    // failure, and what a caller changed in a window is in its record.
    void enter();
    // A unit the plug-in made and removed again (qor_remove0) on its way to
    // a failure leaves the network once the plug-in no longer uses it.
    void dropReleased();
    void feed(Unit* pUnit);
    Unit* find(Unit* pUnit, const char* pcWhat) const;
    void destroy(Unit* pUnit);
    Dialog answered(const char* pcDescription, const std::vector<Answer>& answers) const;

    Module& m_module;
    std::vector<std::unique_ptr<Unit>> m_units; // the holder first
    std::vector<Unit*> m_order;                 // the network's units, in creation order
    std::vector<Connection> m_connections;
    std::vector<std::unique_ptr<WindowSlot>> m_windows;
    std::vector<std::unique_ptr<WindowInfo>> m_infos;
    Unit* m_holder = nullptr;
    const Dialog* m_pDialog = nullptr; // while an icon callback runs
};

// The dialog whose answers IVAL, FVAL and TVAL give: set while an icon
// callback runs, null otherwise.
const Dialog* currentDialog();

// The window being drawn on, between qor_begin_draw2 (or window creation)
// and qor_end_draw. Drawing does not nest: a second begin, or an end with
// nothing begun, throws HostError.
void beginDraw(WindowSlot* pSlot);
void endDraw();
WindowSlot* drawingSlot(const char* pcCaller); // throws HostError when none

// A primitive_unit3 type text: "<F>", "<C>", "f64", "c16", "s2" or
// "<type name>"; throws HostError on anything else.
PinSpec pinSpecOf(const std::string& sText);

} // namespace tirnhost

#endif
