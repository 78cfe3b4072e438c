// The running installation: log lines, properties, records, error texts. No function
// throws on a failed platform call.
#pragma once

#include "frame/compiler.h"
#include "frame/handles.h"

#include <initializer_list>
#include <string>

namespace setupactions {

// Formats like printf, into a string of any length.
std::string Format(const char* format, ...) PRINTF_CHECKED(1, 2);

// Writes an information line "[Date], [Time]: text" to the installer log. The installer
// resolves square brackets in the text as in any record.
void LogMessage(MSIHANDLE session, const char* text);
inline void LogMessage(MSIHANDLE session, const std::string& text) {
    LogMessage(session, text.c_str());
}

// The same with the text formatted like printf.
void LogFormat(MSIHANDLE session, const char* format, ...) PRINTF_CHECKED(2, 3);

// Sends a record to the installer, with the template as field 0 and the fields from 1 on:
// for lines without the date prefix and for action data. With a larger fieldCount the
// remaining fields are empty.
void SendRecord(MSIHANDLE session, INSTALLMESSAGE type, const char* recordTemplate,
                std::initializer_list<std::string> fields, size_t fieldCount = 0);

// Shows what the running action is working on (action data in field 1).
void ShowActionData(MSIHANDLE session, const std::string& text);

// Reads a session property of any length. Result: the installer's (0 with an empty value
// for an unset property); the value is empty on failure.
UINT GetPropertyString(MSIHANDLE session, const char* name, std::string& value);

// The same where an unset property and a failed read need not be told apart: both empty.
std::string PropertyText(MSIHANDLE session, const char* name);

// Reads a record field (from 0) of any length. Result: the installer's.
UINT GetRecordString(MSIHANDLE record, UINT field, std::string& value);

// Formats a text as the installer formats a record's field 0: "[Property]", "[#File]",
// "[$Component]". Result: the installer's (0 also when the outcome is empty); the value
// is empty on failure.
UINT FormatText(MSIHANDLE session, const std::string& text, std::string& value);

// The same for a record and its field 0.
UINT FormatRecordString(MSIHANDLE session, MSIHANDLE record, std::string& value);

// True unless the installation shows its full user interface (UILevel 5 or more); a
// silent installation must not show message boxes. An unset or malformed level counts as
// silent.
bool IsSilentInstall(MSIHANDLE session);

// The system's text for an error code, including its line break, or the code as an
// unsigned decimal when there is none.
std::string ErrorText(DWORD code);

// Puts ErrorText(code) into a record field. Result: the installer's.
UINT SetErrorField(MSIHANDLE record, UINT field, DWORD code);

// Reports failed platform calls of one action: "[1]: [2] failed. Error: [3]".
// One record serves all reports of the action.
class LogFailure {
public:
    LogFailure(MSIHANDLE session, const char* action);

    // Logs that the call failed with the thread's last error.
    void operator()(const char* call);

private:
    MSIHANDLE session_;
    InstallerHandle record_;
};

// GetProcAddress; a missing procedure is logged with the library's path.
// Result: the address, or null.
FARPROC GetProcAddressLogged(MSIHANDLE session, HMODULE module, const char* procedure);

} // namespace setupactions
