// The log as one page that needs nothing else: outcome and first cause, a timeline of
// all actions, and what ours did, with the meaning and the remedy of each line.
#pragma once

#include "tools/logreport/model.h"

#include <string>

namespace logreport {

// name: the log's, as the page shows it. reference: the address of the folder with the
// reference's pages, which the actions then lead to; empty: they lead nowhere.
std::string HtmlPage(const Log& log, const std::string& name, const std::string& reference);

// The address of a file or folder with a full path in UTF-8.
std::string FileAddress(const std::string& path);

} // namespace logreport
