// Fills all placeholders of a text in one pass.
#pragma once

#include "textfiles/text_stream.h"

#include <string>
#include <string_view>
#include <vector>

namespace setupactions {

// The placeholder "%name%" and the value that takes its place.
struct Placeholder {
    std::string name;
    std::string value;
};

// Writes what a text becomes when its placeholders are filled one after the other, each in the
// whole text that the one before has left. Of each line the first occurrence becomes the first 512
// characters of the value. A value may bring later placeholders and line breaks; each placeholder
// cuts overlong lines anew. Memory does not grow with the text, the stack does with the number of
// placeholders.
class PlaceholderChain {
public:
    // longestLine is in characters, the line break included. The placeholders must outlive the
    // chain.
    PlaceholderChain(const std::vector<Placeholder>& placeholders, size_t longestLine,
                     TextWriter& output);

    // The text's next line, no longer than the longest.
    void Take(std::string_view line);

    // The text has ended.
    void Finish();

private:
    struct Step {
        std::string placeholder;
        std::string_view value;
        std::string started; // a line whose end has not come yet
    };

    void Pass(size_t step, std::string_view text);
    void Fill(size_t step, std::string_view line);

    std::vector<Step> steps_;
    size_t longestLine_;
    size_t startedLines_ = 0; // steps that have one
    TextWriter& output_;
};

} // namespace setupactions
