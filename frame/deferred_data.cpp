#include "frame/deferred_data.h"

#include "frame/errors.h"
#include "frame/msi_database.h"
#include "frame/session.h"

namespace setupactions {

namespace {

const char ActionDataProperty[] = "CustomActionData";

// Takes the next token: skips delimiters, then reads up to the next one and moves past
// it. The position becomes npos at the end of the text. False, with nothing taken, when
// no character is left.
bool NextToken(const std::string& text, char delimiter, size_t& position, std::string& token) {
    const size_t start = text.find_first_not_of(delimiter, position);
    const size_t end = text.find(delimiter, start);
    position = end == std::string::npos ? end : end + 1;
    if (start == std::string::npos)
        return false;
    token = text.substr(start, end == std::string::npos ? end : end - start);
    return true;
}

// The name of the first CustomAction row that matches the query. A query that cannot be
// executed is logged and matches nothing.
bool FindActionName(MSIHANDLE session, MSIHANDLE database, const std::string& query,
                    std::string& name) {
    CMsiHelper view(database, query);
    if (!view.TryExecute()) {
        LogMessage(session, "failed to execute" + query);
        return false;
    }
    try {
        if (!view.Fetch())
            return false;
        name = view.GetNamedField("Action");
        return true;
    } catch (int) {
        return false; // the caller tries the next query
    }
}

} // namespace

UINT GetDeferredData(MSIHANDLE session, std::string& data) {
    return GetPropertyString(session, ActionDataProperty, data);
}

bool IsDeferred(MSIHANDLE session) { return MsiGetMode(session, MSIRUNMODE_SCHEDULED) != FALSE; }

CDeferredData::CDeferredData(MSIHANDLE session, const std::string& actionName) : session_(session) {
    if (IsDeferred(session)) {
        GetDeferredData(session, data_);
    } else {
        propertyName_ = ResolvePropertyName(actionName);
        GetPropertyString(session, propertyName_.c_str(), data_);
    }
    Parse();
}

CDeferredData::~CDeferredData() {
    if (!propertyName_.empty())
        MsiSetPropertyA(session_, propertyName_.c_str(), data_.c_str());
}

std::string CDeferredData::ResolvePropertyName(const std::string& actionName) const {
    const InstallerHandle database(MsiGetActiveDatabase(session_));
    for (const char* column : {"Action", "Target"}) {
        const std::string query = Format("SELECT `Action` FROM `CustomAction` WHERE `%s` = '%s'",
                                         column, actionName.c_str());
        std::string name;
        if (FindActionName(session_, database.Get(), query, name))
            return name;
    }
    return actionName;
}

void CDeferredData::Parse() {
    size_t position = 0;
    std::string name;
    while (NextToken(data_, '=', position, name)) {
        const bool isPair = position != std::string::npos;
        std::string value;
        // Reading a value skips leading ";" too, so "A=;B=2" is A with the value "B=2".
        // Writers leave empty values out and so never produce such a text.
        NextToken(data_, ';', position, value);
        values_[name] = value;
        if (!isPair)
            throw InvalidArgument("action data ends in a name without \"=\"");
    }
}

void CDeferredData::Append(const std::string& name, const std::string& value) {
    if (value.empty())
        return;
    if (value.find_first_of(";\r\n") != std::string::npos) {
        LogMessage(session_, name + " is not handed over: it holds \";\" or a line break");
        return;
    }
    if (!data_.empty())
        data_ += ";";
    data_ += name + "=" + value;
    values_[name] = value;
}

UINT CDeferredData::AddProperty(const std::string& propertyName) {
    std::string value;
    const UINT result = GetPropertyString(session_, propertyName.c_str(), value);
    Append(propertyName, value);
    return result;
}

UINT CDeferredData::AddFileKey(const std::string& fileKey) {
    const InstallerHandle record(MsiCreateRecord(1));
    if (!record) {
        LogMessage(session_, "failed to create record");
        return ERROR_SUCCESS;
    }
    UINT result = MsiRecordSetStringA(record.Get(), 0, ("[#" + fileKey + "]").c_str());
    if (result != ERROR_SUCCESS) {
        LogMessage(session_, "failed to set string to record");
        return result;
    }
    std::string path;
    result = FormatRecordString(session_, record.Get(), path);
    if (result != ERROR_SUCCESS) {
        LogMessage(session_, "failed to format record");
        return result;
    }
    Append(fileKey, path);
    return ERROR_SUCCESS;
}

bool CDeferredData::Lookup(const std::string& name, std::string& value) const {
    value.clear();
    const auto found = values_.find(name);
    if (found == values_.end())
        return false;
    value = found->second;
    return true;
}

} // namespace setupactions
