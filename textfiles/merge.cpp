// Merges a block of lines into a text file of another program, and takes it out
// again.
#include "exports/action.h"
#include "textfiles/action_log.h"

namespace setupactions {

namespace {

// Occurs in no block, so that a search for it counts the lines.
const char NoSuchLine[] = "~#$%^&";

// The block's first and last line, by which it is found again.
struct Signature {
    LineSearch first;
    LineSearch last;
};

bool ReadSignature(const std::string& block, Signature& signature) {
    const LineSearch counted = FindLine(block, NoSuchLine, EndMark::Ends);
    if (counted.result != LineResult::NotFound)
        return false;
    signature = {ReadLine(block, 1, EndMark::Ends), ReadLine(block, counted.number, EndMark::Ends)};
    return signature.first.result == LineResult::Found &&
           signature.last.result == LineResult::Found;
}

} // namespace

// Scheduled after InstallFinalize, once the block file is in place. Reads
// MsiMergeFile1 (target), MsiMergeFile2 (block), MsiMergePoint and
// MsiMergePosition; changes the target. MsiUnMergeFiles takes the block out.
EXPORTED_ACTION(MsiMergeFiles) {
    const std::string target = LoggedProperty(session, "MsiMergeFile1");
    const std::string block = LoggedProperty(session, "MsiMergeFile2");
    const std::string point = LoggedProperty(session, "MsiMergePoint");
    const std::string position = LoggedProperty(session, "MsiMergePosition");

    const int number = FindLineLogged(session, target, point);
    if (number != 0)
        LogUncopied(session, target,
                    InsertBlock(target, block, number,
                                position == "0" ? BlockPosition::Before : BlockPosition::After));
    return ERROR_SUCCESS;
}

// Scheduled on removal, before RemoveFiles takes the block file away. Reads
// MsiMergeFile1 (target) and MsiMergeFile2 (block); takes what MsiMergeFiles
// inserted out of the target, found by the block's first and last line.
EXPORTED_ACTION(MsiUnMergeFiles) {
    const std::string target = LoggedProperty(session, "MsiMergeFile1");
    const std::string block = LoggedProperty(session, "MsiMergeFile2");

    Signature signature;
    if (!ReadSignature(block, signature)) {
        LogFormat(session, "Failed getting first and last lines of %s", block.c_str());
        return ERROR_SUCCESS;
    }
    const std::string& firstLine = signature.first.text;
    const std::string& lastLine = signature.last.text;
    LogFormat(session, "First line in \"%s\":\"%s\"", block.c_str(), firstLine.c_str());
    LogFormat(session, "Last line in \"%s\":\"%s\"", block.c_str(), lastLine.c_str());

    // The lines serve as patterns, so brackets in them match any text. The last
    // one, too, is searched from the top: when it is above the first, nothing is
    // deleted.
    const auto [first, last] = FindFirstLines(target, firstLine, lastLine);
    if (first == 0 || last == 0) {
        LogFormat(session, "Failed finding signature lines in %s:", target.c_str());
        LogFormat(session, "  First Line: %s", firstLine.c_str());
        LogFormat(session, "  Last Line: %s", lastLine.c_str());
        return ERROR_SUCCESS;
    }
    LogFormat(session, "Deleting line %d through line %d in \"%s\"", first, last, target.c_str());
    LogUncopied(session, target, DeleteLines(target, first, last));
    return ERROR_SUCCESS;
}

} // namespace setupactions
