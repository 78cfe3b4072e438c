#include "textfiles/placeholders.h"

#include <algorithm>
#include <utility>

namespace setupactions {

namespace {

const char Mark = '%';
const size_t LongestValue = 512;

} // namespace

PlaceholderChain::PlaceholderChain(const std::vector<Placeholder>& placeholders, size_t longestLine,
                                   TextWriter& output)
    : longestLine_(longestLine), output_(output) {
    for (const Placeholder& placeholder : placeholders)
        steps_.push_back({Mark + placeholder.name + Mark,
                          std::string_view(placeholder.value).substr(0, LongestValue), ""});
}

void PlaceholderChain::Take(std::string_view line) {
    // Such a line leaves every step unchanged, unless one still waits for the end of its line.
    if (startedLines_ == 0 && line.find(Mark) == std::string_view::npos)
        output_.WriteLine(line);
    else
        Pass(0, line);
}

void PlaceholderChain::Finish() {
    for (size_t step = 0; step < steps_.size(); ++step)
        Fill(step, std::exchange(steps_[step].started, ""));
}

// Hands text to a step, which fills each line once it is whole.
void PlaceholderChain::Pass(size_t step, std::string_view text) {
    if (step == steps_.size()) {
        output_.Write(text);
        return;
    }
    std::string& started = steps_[step].started;
    // Values that hold later placeholders can multiply without end: a full disk ends that.
    while (!text.empty() && !output_.Failed()) {
        const size_t room = longestLine_ - started.size();
        const size_t lineBreak = text.find('\n');
        const size_t end = lineBreak == std::string_view::npos ? text.size() : lineBreak + 1;
        const std::string_view part = text.substr(0, std::min(room, end));
        text.remove_prefix(part.size());
        const bool isWhole = part.size() == room || part.back() == '\n';
        if (isWhole && started.empty()) {
            Fill(step, part);
        } else if (isWhole) {
            --startedLines_;
            Fill(step, std::exchange(started, "").append(part));
        } else {
            startedLines_ += started.empty() ? 1 : 0;
            started += part;
        }
    }
}

void PlaceholderChain::Fill(size_t step, std::string_view line) {
    const auto& [placeholder, value, started] = steps_[step];
    const size_t at = line.find(placeholder);
    Pass(step + 1, line.substr(0, at));
    if (at == std::string_view::npos)
        return;
    Pass(step + 1, value);
    Pass(step + 1, line.substr(at + placeholder.size()));
}

} // namespace setupactions
