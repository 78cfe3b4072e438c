#include "frame/session.h"

#include "frame/read_growing.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

namespace setupactions {

namespace {

const int FullUserInterface = 5;
const size_t ProcedureRecordFields = 4;

// The length of a module's path cannot be queried beforehand: the buffer grows until the
// path fits.
std::string ModulePath(HMODULE module) {
    std::vector<char> buffer(MAX_PATH);
    for (;;) {
        const DWORD length =
            GetModuleFileNameA(module, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length < buffer.size())
            return std::string(buffer.data(), length);
        buffer.resize(buffer.size() * 2);
    }
}

PRINTF_CHECKED(1, 0) std::string FormatList(const char* format, va_list arguments) {
    char brief[256]; // characters, enough for most lines
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(brief, sizeof brief, format, arguments);
    std::string text;
    if (length >= static_cast<int>(sizeof brief)) {
        text.resize(static_cast<size_t>(length) + 1);
        std::vsnprintf(&text[0], text.size(), format, again);
        text.pop_back();
    } else if (length > 0) {
        text.assign(brief, static_cast<size_t>(length));
    }
    va_end(again);
    if (length < 0)
        throw std::bad_alloc();
    return text;
}

} // namespace

std::string Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

void LogFormat(MSIHANDLE session, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = FormatList(format, arguments);
    va_end(arguments);
    LogMessage(session, text);
}

void SendRecord(MSIHANDLE session, INSTALLMESSAGE type, const char* recordTemplate,
                std::initializer_list<std::string> fields, size_t fieldCount) {
    const InstallerHandle record(
        MsiCreateRecord(static_cast<UINT>(std::max(fieldCount, fields.size()))));
    MsiRecordSetStringA(record.Get(), 0, recordTemplate);
    UINT field = 1;
    for (const std::string& text : fields)
        MsiRecordSetStringA(record.Get(), field++, text.c_str());
    MsiProcessMessage(session, type, record.Get());
}

void LogMessage(MSIHANDLE session, const char* text) {
    const InstallerHandle record(MsiCreateRecord(2));
    MsiRecordSetStringA(record.Get(), 0, "[Date], [Time]: [1]");
    MsiRecordSetStringA(record.Get(), 1, text);
    MsiProcessMessage(session, INSTALLMESSAGE_INFO, record.Get());
}

void ShowActionData(MSIHANDLE session, const std::string& text) {
    const InstallerHandle record(MsiCreateRecord(2));
    MsiRecordSetStringA(record.Get(), 1, text.c_str());
    MsiProcessMessage(session, INSTALLMESSAGE_ACTIONDATA, record.Get());
}

UINT GetPropertyString(MSIHANDLE session, const char* name, std::string& value) {
    return ReadGrowing(
        [&](char* buffer, DWORD* size) { return MsiGetPropertyA(session, name, buffer, size); },
        value);
}

std::string PropertyText(MSIHANDLE session, const char* name) {
    std::string value;
    GetPropertyString(session, name, value);
    return value;
}

UINT GetRecordString(MSIHANDLE record, UINT field, std::string& value) {
    return ReadGrowing(
        [&](char* buffer, DWORD* size) { return MsiRecordGetStringA(record, field, buffer, size); },
        value);
}

UINT FormatRecordString(MSIHANDLE session, MSIHANDLE record, std::string& value) {
    return ReadGrowing(
        [&](char* buffer, DWORD* size) { return MsiFormatRecordA(session, record, buffer, size); },
        value, [](UINT result) { return result != ERROR_MORE_DATA; });
}

UINT FormatText(MSIHANDLE session, const std::string& text, std::string& value) {
    value.clear();
    const InstallerHandle record(MsiCreateRecord(1));
    const UINT result = MsiRecordSetStringA(record.Get(), 0, text.c_str());
    return result == ERROR_SUCCESS ? FormatRecordString(session, record.Get(), value) : result;
}

bool IsSilentInstall(MSIHANDLE session) {
    return std::atoi(PropertyText(session, "UILevel").c_str()) < FullUserInterface;
}

std::string ErrorText(DWORD code) {
    const DWORD userDefaultLanguage = 0x400;
    LocalText text;
    // With FORMAT_MESSAGE_ALLOCATE_BUFFER the buffer argument is the address of a pointer.
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM,
        nullptr, code, userDefaultLanguage, reinterpret_cast<char*>(text.Out()), 0, nullptr);
    if (length == 0 || !text || *text.Get() == '\0')
        return Format("%lu", code);
    return text.Get();
}

UINT SetErrorField(MSIHANDLE record, UINT field, DWORD code) {
    return MsiRecordSetStringA(record, field, ErrorText(code).c_str());
}

LogFailure::LogFailure(MSIHANDLE session, const char* action)
    : session_(session), record_(MsiCreateRecord(3)) {
    MsiRecordSetStringA(record_.Get(), 0, "[1]: [2] failed. Error: [3]");
    MsiRecordSetStringA(record_.Get(), 1, action);
}

void LogFailure::operator()(const char* call) {
    const DWORD error = GetLastError();
    MsiRecordSetStringA(record_.Get(), 2, call);
    SetErrorField(record_.Get(), 3, error);
    MsiProcessMessage(session_, INSTALLMESSAGE_INFO, record_.Get());
}

FARPROC GetProcAddressLogged(MSIHANDLE session, HMODULE module, const char* procedure) {
    const FARPROC address = GetProcAddress(module, procedure);
    if (address == nullptr) {
        const DWORD error = GetLastError();
        SendRecord(session, INSTALLMESSAGE_INFO,
                   "GetProcAddress(Library=[1],ProcName=[2]) failed. GetLastError: [3]",
                   {ModulePath(module), procedure, ErrorText(error)}, ProcedureRecordFields);
    }
    return address;
}

} // namespace setupactions
