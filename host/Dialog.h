// The host's dialog description language, read the way the host reads it,
// and the answers a user would give. Fields are numbered as the plug-in
// asks for them: numeric fields (i, f, b) 0, 1, 2, ... in order of
// appearance, text fields separately. A field's label is the text in front
// of it on its line, back to the previous field, trimmed, without a
// trailing colon: " Filtertype   : %0:9:0b..." gives "Filtertype".
//
//   "%n"                 a line break
//   "%<d>i", "%<min>:<max>:<d>i", "%<min>:<max>i"
//                        an integer field (f: float, b: a choice among the
//                        labels after "%l", separated by "|"; a missing
//                        default is the minimum)
//   "%{<preset>%}%<w>t"  a text field
//   "%[ ... %]"          the button row; "%H" and other letters are layout
//
// Answers override the presets. A numeric answer outside the field's range
// or a choice that is not among its labels is refused with HostError.
#ifndef TIRNHOST_DIALOG_H
#define TIRNHOST_DIALOG_H

#include <string>
#include <vector>

namespace tirnhost {

struct DialogField
{
    char kind = 'i'; // 'i', 'f', 'b' (numeric) or 't' (text)
    int number = 0;  // IVAL/FVAL number, or TVAL number for text fields
    std::string label;
    bool hasRange = false;
    double minimum = 0, maximum = 0;
    double value = 0;                // numeric: the preset, then the answer
    std::string text;                // text fields: the preset, then the answer
    std::vector<std::string> choices; // 'b' fields: the labels after "%l"
};

class Dialog
{
public:
    // Throws HostError on a description the host could not show.
    explicit Dialog(const std::string& sDescription);

    const std::vector<DialogField>& numericFields() const { return m_numeric; }
    const std::vector<DialogField>& textFields() const { return m_text; }
    bool hasButtonRow() const { return m_bButtons; }

    // An answer to the numeric field of that number: a number, or for a
    // choice also one of its labels.
    void answer(int iField, const std::string& sValue);
    // An answer to the field (numeric or text) with that label; a label that
    // several fields share must be answered by number.
    void answer(const std::string& sLabel, const std::string& sValue);
    void answerText(int iField, const std::string& sValue);

    // What the plug-in reads. Out-of-range numbers throw HostError.
    int ival(int k) const;
    double fval(int k) const;
    const std::string& tval(int k) const;

private:
    DialogField& numeric(int k);
    const DialogField& numeric(int k) const;
    void set(DialogField& field, const std::string& sValue);

    std::vector<DialogField> m_numeric;
    std::vector<DialogField> m_text;
    bool m_bButtons = false;
};

} // namespace tirnhost

#endif
