#include "tests/support/session_test.h"

#include "frame/handles.h"
#include "frame/session.h"
#include "tests/support/replaced_import.h"
#include "tests/support/scratch_package.h"
#include "tests/support/unix_shell.h"

#include <memory>
#include <regex>

using setupactions::InstallerHandle;

namespace {

using GetModeImport = ReplacedImport<BOOL WINAPI(MSIHANDLE, MSIRUNMODE)>;
std::unique_ptr<GetModeImport> deferredMode;
MSIRUNMODE runMode;

BOOL WINAPI DeferredMode(MSIHANDLE session, MSIRUNMODE mode) {
    return mode == runMode ? TRUE : deferredMode->Original()(session, mode);
}

int WINAPI OnMessage(void* context, UINT type, const char* text) {
    const auto kind = static_cast<INSTALLMESSAGE>(type & 0xFF000000);
    static_cast<std::vector<Message>*>(context)->push_back({kind, text == nullptr ? "" : text});
    return IDOK;
}

// Removes "date, time: " from a line of LogMessage.
std::string WithoutPrefix(const std::string& line) {
    static const std::regex prefix("^[0-9/]+, [0-9:]*: ");
    return std::regex_replace(line, prefix, "", std::regex_constants::format_first_only);
}

std::string TempFolder() {
    char folder[MAX_PATH];
    GetTempPathA(MAX_PATH, folder);
    return folder;
}

std::string ScratchName() { return "scratch" + std::to_string(GetCurrentProcessId()); }

} // namespace

void SessionTest::SetUp() {
    ASSERT_EQ(MsiCloseAllHandles(), 0u) << "left open by an earlier test";
    ASSERT_EQ(MsiOpenPackageA(ScratchPackage().c_str(), &session), ERROR_SUCCESS);
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    MsiSetExternalUIA(OnMessage, 0x7FFFFFFF, &messages);
}

void SessionTest::TearDown() {
    deferredMode.reset();
    MsiSetExternalUIA(nullptr, 0, nullptr);
    MsiCloseHandle(session);
    EXPECT_EQ(MsiCloseAllHandles(), 0u) << "installer handles left open";
    // The host's rm: it follows no links and has no path length limit.
    if (!scratch_.empty())
        RunUnixShell(TempFolder(), "rm -rf " + ScratchName());
}

std::string SessionTest::Scratch() {
    if (scratch_.empty()) {
        RunUnixShell(TempFolder(), "rm -rf " + ScratchName());
        scratch_ = TempFolder() + ScratchName() + "\\";
        EXPECT_TRUE(CreateDirectoryA(scratch_.c_str(), nullptr)) << scratch_;
    }
    return scratch_;
}

std::string SessionTest::Property(const char* name) const {
    return setupactions::PropertyText(session, name);
}

void SessionTest::SetProperty(const char* name, const std::string& value) const {
    ASSERT_EQ(MsiSetPropertyA(session, name, value.c_str()), ERROR_SUCCESS);
}

void SessionTest::Sql(const std::string& query) const {
    const InstallerHandle database(MsiGetActiveDatabase(session));
    ASSERT_EQ(RunSql(database.Get(), query), ERROR_SUCCESS) << query;
}

void SessionTest::MakeTable(const std::string& name, const std::vector<std::string>& columns,
                            const std::vector<std::string>& rows) const {
    std::string names, definitions;
    for (const std::string& column : columns) {
        const size_t end = column.find(' ');
        const std::string quoted = "`" + column.substr(0, end) + "`";
        definitions += (names.empty() ? "" : ", ") + quoted +
                       (end != std::string::npos ? column.substr(end)
                        : names.empty()          ? " CHAR(72) NOT NULL"
                                                 : " LONGCHAR");
        names += (names.empty() ? "" : ", ") + quoted;
    }
    Sql("CREATE TABLE `" + name + "` (" + definitions + " PRIMARY KEY " +
        names.substr(0, names.find(',')) + ")");
    for (const std::string& row : rows)
        Sql("INSERT INTO `" + name + "` (" + names + ") VALUES (" + row + ")");
}

void SessionTest::AddComponent(const std::string& component) const {
    Sql("INSERT INTO `Component` (`Component`, `Directory_`, `Attributes`) VALUES ('" + component +
        "', 'INSTALLDIR', 0)");
    Sql("INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('Complete', '" +
        component + "')");
}

void SessionTest::AddFile(const std::string& key, const std::string& name,
                          const std::string& component) const {
    Sql("INSERT INTO `File` (`File`, `Component_`, `FileName`, `FileSize`, `Attributes`, "
        "`Sequence`) VALUES ('" +
        key + "', '" + component + "', '" + name + "', 10, 512, 2)");
}

void SessionTest::Cost() const {
    for (const char* action : {"CostInitialize", "FileCost", "CostFinalize"})
        ASSERT_EQ(MsiDoActionA(session, action), ERROR_SUCCESS) << action;
}

void SessionTest::MakeDeferred(const std::string& actionData, MSIRUNMODE mode) {
    SetProperty("CustomActionData", actionData);
    runMode = mode;
    deferredMode.reset(); // a second call replaces the mode of the first
    deferredMode = std::make_unique<GetModeImport>("MsiGetMode", DeferredMode);
}

std::vector<std::string> SessionTest::Log() const {
    std::vector<std::string> lines;
    for (const Message& message : messages)
        if (message.type == INSTALLMESSAGE_INFO)
            lines.push_back(WithoutPrefix(message.text));
    return lines;
}

bool Contains(const std::vector<std::string>& lines, const std::string& text) {
    for (const std::string& line : lines)
        if (line.find(text) != std::string::npos)
            return true;
    return false;
}
