#include "tools/actionhost/check_report.h"

#include "frame/session.h"

#include <windows.h>

using namespace setupactions;

namespace actionhost {

namespace {

const size_t ManyRows = 10; // not scheduled, as in a package that includes the kit

std::string Quoted(const std::string& text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(
        static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, text.data(), size, &wide[0], size)));
    std::string quoted = "\"";
    for (const wchar_t letter : wide) {
        if (letter == L'"' || letter == L'\\')
            quoted += '\\';
        if (letter < L' ' || letter > L'~')
            quoted += Format("\\u%04x", letter);
        else
            quoted += static_cast<char>(letter);
    }
    return quoted + "\"";
}

// "name": [ITEMS], each made from an element.
template <typename Elements, typename Item>
std::string Array(const char* name, const Elements& elements, const Item& item) {
    std::string array;
    for (const auto& element : elements)
        array += (array.empty() ? "\n    " : ",\n    ") + item(element);
    return Format("  \"%s\": [", name) + array + (array.empty() ? "]" : "\n  ]");
}

} // namespace

std::string TextReport(const CheckResult& result) {
    std::string text;
    std::string unscheduled;
    size_t count = 0;
    int scheduled = 0;
    for (const Call& call : result.calls) {
        if (call.sequence == 0) {
            unscheduled += "calls  not scheduled: " + call.id + "\n";
            ++count;
            continue;
        }
        ++scheduled;
        text += Format("calls  %5d  %-9s %s", call.sequence, call.when, call.id.c_str()) +
                (call.id == call.action ? "" : " -> " + call.action) + "\n";
    }
    text += count > ManyRows ? Format("calls  not scheduled: %u rows\n", count) : unscheduled;
    for (const std::string& finding : result.findings)
        text += "found  " + finding + "\n";
    for (const std::string& remark : result.remarks)
        text += "remark  " + remark + "\n";
    return text + Format("checked  %u rows that call the library, %d of them in the execute "
                         "sequence: %u findings\n",
                         result.calls.size(), scheduled, result.findings.size());
}

std::string JsonReport(const std::string& package, const CheckResult& result) {
    const auto call = [](const Call& row) {
        return Format(R"({"sequence": %s, "when": "%s", "id": )",
                      row.sequence == 0 ? "null" : std::to_string(row.sequence).c_str(), row.when) +
               Quoted(row.id) + ", \"action\": " + Quoted(row.action) + "}";
    };
    const auto finding = [](const std::string& text) {
        const size_t colon = text.find(": ");
        return "{\"where\": " + Quoted(text.substr(0, colon)) +
               ", \"text\": " + Quoted(text.substr(colon + 2)) + "}";
    };
    return "{\n  \"package\": " + Quoted(package) + ",\n" + Array("calls", result.calls, call) +
           ",\n" + Array("findings", result.findings, finding) + ",\n" +
           Array("remarks", result.remarks, Quoted) + "\n}\n";
}

} // namespace actionhost
