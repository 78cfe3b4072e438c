#include "tools/logreport/installers_lines.h"

#include "tools/logreport/line_parts.h"

namespace logreport {

using View = std::string_view;

namespace {

void ReadScript(View text, Line& line) {
    if (TakeStart(text, "ActionStart(")) {
        line.kind = Kind::ScriptAction;
        line.name = Argument(text, "Name=");
    } else if (TakeStart(text, "CustomAction")) {
        line.kind = TakeStart(text, "Schedule(")   ? Kind::ScriptCustom
                    : TakeStart(text, "Rollback(") ? Kind::RolledBack
                    : TakeStart(text, "Commit(")   ? Kind::Committed
                                                   : Kind::Installers;
        line.name = Argument(text, "Action=");
        line.number = NumberAt(Argument(text, "ActionType="));
        line.text = Argument(text, ",Target=");
    } else if (TakeStart(text, "Header(")) {
        line.kind = Kind::ScriptHeader;
        line.number = NumberAt(Argument(text, "ScriptType="));
    } else if (TakeStart(text, "ProductInfo(")) {
        line.kind = Kind::ProductInfo;
        line.text = Argument(text, "ProductKey=");
        line.name = Argument(text, "ProductName=");
    }
}

// "Adding NAME property. Its value is 'VALUE'.", or "Modifying ... Its current value is
// 'VALUE'. Its new value: 'VALUE'."
void ReadProperty(View text, Line& line) {
    const View verb = TakeUntil(text, " ");
    const View name = TakeUntil(text, " property. ");
    const char isNow[] = "Its value is '";
    const char was[] = "Its current value is '";
    const View becomes = "'. Its new value: '";
    if (name.empty() || verb.empty())
        return;
    if (TakeStart(text, isNow)) {
        line.text = text;
    } else if (TakeStart(text, was)) {
        const size_t at = text.find(becomes);
        line.before = text.substr(0, at);
        if (at != View::npos)
            line.text = text.substr(at + becomes.size());
    }
    for (View* value : {&line.before, &line.text})
        if (!TakeStop(*value) || !EndsWith(*value, "'"))
            continue;
        else
            value->remove_suffix(1);
    line.kind = Kind::Property;
    line.name = name;
    line.change = verb.front();
}

// "Product: NAME -- text", in the language of the system.
bool ReadMessage(View text, Line& line) {
    const size_t longestWord = 24;
    const size_t colon = text.substr(0, longestWord).find(": ");
    const size_t dashes = text.find(" -- ");
    if (colon == View::npos || dashes == View::npos || dashes <= colon + 2)
        return false;
    line.kind = Kind::Message;
    line.name = text.substr(colon + 2, dashes - colon - 2);
    line.text = text.substr(dashes + 4);
    return true;
}

// "Windows Installer removed the product. Product Name: NAME. Product Version: 1.2.
// ... Manufacturer: MAKER. Removal success or error status: 1603."
void ReadStatus(View text, Line& line) {
    if (StartsWith(text, "requires a system restart")) {
        line.kind = Kind::RestartWanted;
        return;
    }
    const size_t at = text.rfind("status: ");
    const int64_t code = at == View::npos ? NoNumber : NumberAt(text.substr(at + 8));
    if (code == NoNumber)
        return;
    line.kind = Kind::Status;
    line.number = code;
    line.action = TakeUntil(text, " ");
    TakeUntil(text, "Product Name: ");
    line.name = TakeUntil(text, ". Product Version: ");
    line.before = TakeUntil(text, ". Product Language: ");
    TakeUntil(text, "Manufacturer: ");
    line.text = TakeUntil(text, ". ");
}

// "NAME; Installed: Absent;   Request: Local;   Action: Local"
void ReadState(View text, char kind, Line& line) {
    if (EndsWith(text, "Action: Null"))
        return;
    line.kind = Kind::State;
    line.change = kind;
    line.text = text;
}

void ReadNumbered(View text, Kind kind, Line& line) {
    line.number = NumberAt(text);
    if (line.number != NoNumber)
        line.kind = kind;
}

} // namespace

void ReadInstallers(View text, Line& line) {
    line.kind = Kind::Installers;
    if (text.empty())
        return;
    switch (text.front()) {
    case 'B':
        if (TakeStart(text, "Back from server. Return value: "))
            ReadNumbered(text, Kind::Returned, line);
        break;
    case 'C':
        if (TakeStart(text, "Command Line: ")) {
            line.kind = Kind::CommandLine;
            line.text = text;
        } else if (TakeStart(text, "Component: ")) {
            ReadState(text, 'C', line);
        }
        break;
    case 'E':
        if (TakeStart(text, "Executing op: "))
            ReadScript(text, line);
        break;
    case 'F':
        if (TakeStart(text, "Feature: "))
            ReadState(text, 'F', line);
        break;
    case 'I':
        if (TakeStart(text, "Invoking remote custom action. DLL: ")) {
            TakeUntil(text, ", Entrypoint: ");
            line.kind = Kind::Invoked;
            line.name = Trimmed(text);
        }
        break;
    case 'M':
        if (TakeStart(text, "MainEngineThread is returning "))
            ReadNumbered(text, Kind::Returned, line);
        break;
    case 'P':
        if (TakeStart(text, "PROPERTY CHANGE: ")) {
            ReadProperty(text, line);
            break;
        }
        ReadMessage(text, line);
        break;
    case 'W':
        if (TakeStart(text, "Windows Installer "))
            ReadStatus(text, line);
        break;
    default: // other languages' word for a product, in other letters
        if (static_cast<signed char>(text.front()) < 0)
            ReadMessage(text, line);
        break;
    }
}

void SplitState(Line& line) {
    View text = line.text;
    line.name = Trimmed(TakeUntil(text, "; Installed: "));
    line.before = Trimmed(TakeUntil(text, "; "));
    TakeUntil(text, "Request: ");
    line.text = Trimmed(TakeUntil(text, "; "));
    TakeUntil(text, "Action: ");
    line.action = Trimmed(TakeUntil(text, ";"));
}

} // namespace logreport
