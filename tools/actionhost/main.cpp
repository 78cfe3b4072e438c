// actionhost: runs one exported action against a package outside an install
// and shows what it did, or looks a whole package over.
#include "tools/actionhost/arguments.h"
#include "tools/actionhost/catalogue.h"
#include "tools/actionhost/check_report.h"
#include "tools/actionhost/explain.h"
#include "tools/actionhost/export_table.h"
#include "tools/actionhost/import_table.h"
#include "tools/actionhost/reference.h"

#include "frame/guard.h"
#include "frame/msi_database.h"
#include "frame/session.h"

#include <cstdio>
#include <cstring>
#include <map>

using namespace setupactions;

namespace {

const int ExitActionFailed = 1; // or something was found
const int ExitNotRun = 2;

struct ResultName {
    UINT result;
    const char* name;
};
const ResultName ResultNames[] = {
    {ERROR_SUCCESS, "ERROR_SUCCESS"},
    {ERROR_FILE_NOT_FOUND, "ERROR_FILE_NOT_FOUND"},
    {ERROR_ACCESS_DENIED, "ERROR_ACCESS_DENIED"},
    {ERROR_INVALID_HANDLE, "ERROR_INVALID_HANDLE"},
    {ERROR_INVALID_PARAMETER, "ERROR_INVALID_PARAMETER"},
    {ERROR_MORE_DATA, "ERROR_MORE_DATA"},
    {ERROR_NO_MORE_ITEMS, "ERROR_NO_MORE_ITEMS"},
    {ERROR_INSTALL_USEREXIT, "ERROR_INSTALL_USEREXIT"},
    {ERROR_INSTALL_FAILURE, "ERROR_INSTALL_FAILURE"},
    {ERROR_FUNCTION_FAILED, "ERROR_FUNCTION_FAILED"},
    {ERROR_INVALID_COMMAND_LINE, "ERROR_INVALID_COMMAND_LINE"},
};

const char* NameOfResult(UINT result) {
    for (const ResultName& row : ResultNames)
        if (row.result == result)
            return row.name;
    return "no name known";
}

const struct {
    INSTALLMESSAGE kind;
    const char* name;
} MessageNames[] = {
    {INSTALLMESSAGE_INFO, "log"},
    {INSTALLMESSAGE_ACTIONDATA, "action data"},
    {INSTALLMESSAGE_ACTIONSTART, "start"},
    {INSTALLMESSAGE_WARNING, "warning"},
    {INSTALLMESSAGE_ERROR, "error"},
    {INSTALLMESSAGE_USER, "message box"},
    {INSTALLMESSAGE_FATALEXIT, "fatal exit"},
};

using Properties = std::map<std::string, std::string>;
using Action = UINT(__stdcall*)(MSIHANDLE);

// Something that keeps the action from running; the text says what to do.
class NotRun : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What the installer was told, printed as its log would show it.
class MessagePrinter {
public:
    MessagePrinter() {
        MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        const DWORD everything = 0x7FFFFFFF;
        MsiSetExternalUIA(OnMessage, everything, this);
    }
    ~MessagePrinter() { MsiSetExternalUIA(nullptr, 0, nullptr); }
    MessagePrinter(const MessagePrinter&) = delete;
    MessagePrinter& operator=(const MessagePrinter&) = delete;

    void Print(bool printing) { printing_ = printing; }
    long long ProgressTicks() const { return ticks_; }

private:
    static int WINAPI OnMessage(void* context, UINT type, const char* text) {
        auto* self = static_cast<MessagePrinter*>(context);
        if (!self->printing_ || text == nullptr)
            return 0;
        const auto kind = static_cast<INSTALLMESSAGE>(type & 0xFF000000);
        if (kind == INSTALLMESSAGE_PROGRESS) {
            self->CountProgress(text);
            return IDOK;
        }
        for (const auto& row : MessageNames) {
            if (row.kind != kind)
                continue;
            std::printf("%s  %s\n", row.name, text);
            return IDOK;
        }
        return 0;
    }

    // Progress arrives as "1: kind 2: ticks 3: 0"; kind 2 moves the bar.
    void CountProgress(const char* text) {
        int kind = 0;
        int ticks = 0;
        if (std::sscanf(text, "1: %d 2: %d", &kind, &ticks) == 2 && kind == 2)
            ticks_ += ticks;
    }

    bool printing_ = false;
    long long ticks_ = 0;
};

Properties ReadProperties(MSIHANDLE session) {
    Properties properties;
    CMsiDatabase database(session);
    CMsiHelper& view = database.CreateView("SELECT * FROM `_Property`");
    if (!view.Execute())
        throw static_cast<int>(MsiErrorOpenView);
    while (view.Fetch())
        properties[view.GetField(1)] = view.GetField(2);
    return properties;
}

std::string Shown(const Properties& properties, const std::string& name) {
    const auto found = properties.find(name);
    return found == properties.end() ? "(not set)" : "\"" + found->second + "\"";
}

void PrintChanges(const Properties& before, const Properties& after) {
    Properties names = before;
    names.insert(after.begin(), after.end());
    for (const auto& property : names) {
        const std::string was = Shown(before, property.first);
        const std::string is = Shown(after, property.first);
        if (was != is)
            std::printf("changed  %s: %s -> %s\n", property.first.c_str(), was.c_str(), is.c_str());
    }
}

std::string BesideThisProgram(const char* file) {
    char path[MAX_PATH] = "";
    GetModuleFileNameA(nullptr, path, MAX_PATH - 1);
    const std::string program = path;
    return program.substr(0, program.rfind('\\') + 1) + file;
}

HMODULE LoadActions(const std::string& dll) {
    const HMODULE module = LoadLibraryA(dll.c_str());
    if (module == nullptr)
        throw NotRun("cannot load " + dll + ": " + ErrorText(GetLastError()));
    return module;
}

int ListActions(HMODULE module) {
    for (const std::string& name : exporttable::Names(module)) {
        const actionhost::CatalogueRow* known = nullptr;
        for (const actionhost::CatalogueRow& row : actionhost::Catalogue)
            if (name == row.name)
                known = &row;
        if (known != nullptr)
            std::printf("%-36s %-10s %s\n", name.c_str(), known->when, known->purpose);
        else
            std::printf("%s\n", name.c_str());
    }
    return 0;
}

int ReportPackage(const actionhost::Arguments& arguments) {
    const auto result = actionhost::CheckPackage(actionhost::ReadPackageRows(arguments.package));
    std::fputs((arguments.json ? actionhost::JsonReport(arguments.package, result)
                               : actionhost::TextReport(result))
                   .c_str(),
               stdout);
    return result.findings.empty() ? 0 : ExitActionFailed;
}

int Explain(const actionhost::Arguments& arguments) {
    const std::string text =
        arguments.package.empty()
            ? actionhost::ExplainAction(arguments.action)
            : actionhost::ExplainPackage(actionhost::ReadPackageRows(arguments.package),
                                         actionhost::ReferencePages());
    std::fputs(text.c_str(), stdout);
    return 0;
}

// Stands in for the library's MsiGetMode when the session is to look deferred.
BOOL WINAPI DeferredMode(MSIHANDLE session, MSIRUNMODE mode) {
    return mode == MSIRUNMODE_SCHEDULED ? TRUE : MsiGetMode(session, mode);
}

void OpenSession(const actionhost::Arguments& arguments, InstallerHandle& session) {
    const UINT opened = MsiOpenPackageA(arguments.package.c_str(), session.Out());
    if (opened != ERROR_SUCCESS)
        throw NotRun("cannot open the package " + arguments.package + ": " + ErrorText(opened));
    for (const auto& property : arguments.properties)
        MsiSetPropertyA(session.Get(), property.first.c_str(), property.second.c_str());
    if (!arguments.cost)
        return;
    for (const char* action : {"CostInitialize", "FileCost", "CostFinalize"}) {
        const UINT result = MsiDoActionA(session.Get(), action);
        if (result != ERROR_SUCCESS)
            throw NotRun(Format("costing failed in %s: %s", action, ErrorText(result).c_str()));
    }
}

int RunAction(const actionhost::Arguments& arguments, HMODULE module, const std::string& dll) {
    const auto action = reinterpret_cast<Action>(
        reinterpret_cast<void*>(GetProcAddress(module, arguments.action.c_str())));
    if (action == nullptr)
        throw NotRun("no action " + arguments.action + " in " + dll + "; --list shows them");

    MessagePrinter printer;
    InstallerHandle session;
    OpenSession(arguments, session);
    if (arguments.deferred) {
        MsiSetPropertyA(session.Get(), "CustomActionData", arguments.data.c_str());
        if (void** slot = importtable::FindSlot(module, "MsiGetMode"))
            importtable::WriteSlot(slot, reinterpret_cast<void*>(DeferredMode));
    }

    const Properties before = ReadProperties(session.Get());
    std::printf("action  %s%s\n", arguments.action.c_str(),
                arguments.deferred ? " (deferred)" : "");
    if (arguments.wait) {
        std::fprintf(stderr, "waiting for a debugger (process %lu); Enter goes on\n",
                     GetCurrentProcessId());
        std::getchar();
    }
    printer.Print(true);
    UINT result = ERROR_INSTALL_FAILURE;
    const bool completed = RunGuarded([&] { result = action(session.Get()); });
    printer.Print(false);
    std::printf("progress  %lld ticks\n", printer.ProgressTicks());
    if (completed)
        std::printf("result  %u (%s)\n", result, NameOfResult(result));
    else
        std::printf("result  none: a fault or an exception left the action\n");
    PrintChanges(before, ReadProperties(session.Get()));
    return completed && result == ERROR_SUCCESS ? 0 : ExitActionFailed;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc == 1) {
        std::fputs(actionhost::Usage, stderr);
        return ExitNotRun;
    }
    try {
        const auto arguments =
            actionhost::ParseArguments(std::vector<std::string>(argv + 1, argv + argc));
        if (arguments.help) {
            std::fputs(actionhost::Usage, stdout);
            return 0;
        }
        if (arguments.check)
            return ReportPackage(arguments);
        if (arguments.explain)
            return Explain(arguments);
        const std::string dll =
            arguments.dll.empty() ? BesideThisProgram("setupactions.dll") : arguments.dll;
        const HMODULE module = LoadActions(dll);
        return arguments.list ? ListActions(module) : RunAction(arguments, module, dll);
    } catch (const actionhost::UsageError& error) {
        std::fprintf(stderr, "actionhost: %s (without arguments it shows its usage)\n",
                     error.what());
    } catch (const std::runtime_error& error) {
        std::string text = error.what();
        text.erase(text.find_last_not_of("\r\n") + 1);
        std::fprintf(stderr, "actionhost: %s\n", text.c_str());
    } catch (int error) {
        std::fprintf(stderr, "actionhost: the package cannot be read: %s\n",
                     myMsiError2String(error).c_str());
    }
    return ExitNotRun;
}
