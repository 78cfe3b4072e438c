// The reference's page of one action, from the Markdown that is its only source.
#pragma once

#include <string>
#include <vector>

namespace actionhost {

// The pages that the host carries, one after the other.
std::string ReferencePages();

// The part of the pages under "## ACTION", without that line; empty when there is none.
std::string SectionOf(const std::string& pages, const std::string& action);

// Markdown as a terminal shows it: without its marks, a link by its text, tables row by
// row, in ASCII, no line longer than the width unless a single word is.
std::string PlainText(const std::string& markdown, size_t width);

// The names in code marks of a section's field "Reads", in their order.
std::vector<std::string> NamesRead(const std::string& section);

// The page of an action as the host shows it: purpose, section and log lines. Throws
// UsageError for a name that is no action's.
std::string ExplainAction(const std::string& action);

} // namespace actionhost
