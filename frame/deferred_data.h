// The data that an immediate action hands to a deferred one: a positional text, or
// name=value pairs joined by ";".
#pragma once

#include "frame/handles.h"

#include <map>
#include <string>

namespace setupactions {

// Reads "CustomActionData", the only session data that a deferred action can see.
// Result: the installer's; an action scheduled without data reads an empty text.
UINT GetDeferredData(MSIHANDLE session, std::string& data);

// True when the action runs from the execution script.
bool IsDeferred(MSIHANDLE session);

// The keyed form. An immediate action constructs it with the name (or entry
// point) of the deferred action and adds to it; the destructor stores the text
// in the property which the installer hands to that action. The deferred
// action constructs it with the same name and looks the names up.
//
// Nothing is escaped: a name must not contain "=" or ";". A value with a ";" or a line
// break could inject pairs, or lines into the file that they are written to; it is left
// out, and the log says so.
class CDeferredData {
public:
    // Starts from what earlier immediate actions stored for the same action. Throws
    // InvalidArgument on a text whose last name has no "=".
    CDeferredData(MSIHANDLE session, const std::string& actionName);
    virtual ~CDeferredData();
    CDeferredData(const CDeferredData&) = delete;
    CDeferredData& operator=(const CDeferredData&) = delete;

    // Adds the property's value under the property's name; an empty value is left out.
    // Result: that of reading the property.
    UINT AddProperty(const std::string& propertyName);

    // Adds the path at which the file of this File table key will be installed, under
    // the key. Result: that of the call that failed, or 0.
    UINT AddFileKey(const std::string& fileKey);

    // Looks up the value of a name (case-sensitive). False, with an empty text, when the
    // name is not there.
    bool Lookup(const std::string& name, std::string& value) const;

private:
    std::string ResolvePropertyName(const std::string& actionName) const;
    void Parse();
    void Append(const std::string& name, const std::string& value);

    MSIHANDLE session_;
    std::string propertyName_; // empty in a deferred action, which stores nothing
    std::string data_;
    std::map<std::string, std::string> values_;
};

} // namespace setupactions
