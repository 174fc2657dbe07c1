#pragma once

#include "host/library.h"
#include "host/results.h"
#include "tools/miravex/parsed_call.h"

#include <optional>

namespace miravex::tool {

/// A call that was made and succeeded.
struct Performed {
    const Operation* operation = nullptr;
    std::vector<Value> arguments; ///< as the library got them
    ImagePointer picture; ///< the first picture as it was read, before it was fitted; null without one
    Value value;
    Result result; ///< how to read the value
    double milliseconds = 0; ///< of the call alone, without reading and writing
};

/// The files of a call by the image argument they belong to; throws a usage failure when there are too many
/// or too few. A sequence takes all files that the other pictures leave.
std::map<std::string, std::vector<std::string>, std::less<>> assignFiles(const ParsedCall& words);

/// Reads what the words name, completes it with the record's defaults, checks it against the record and calls
/// the library. Throws Failure: usage for values that the record refuses, input unreadable, or operation
/// failed with everything that is known of the reason.
Performed perform(const Library& library, const ParsedCall& words, Notes& notes);

/// What the call's result will be as far as its words tell, before pictures are read.
const Result& expectedResult(const ParsedCall& words);

/// The result in a file: pictures, tensors and reals by extension.
void writeResult(const Performed& performed, const std::string& file, const std::string& extension,
                 bool force, Notes& notes);

/// True when a result of this layout can be drawn with what the words give.
bool isDrawable(const ParsedCall& words, Layout layout);

/// The result drawn over the picture, or matches between their two pictures; null when it can't be drawn.
ImagePointer drawnResult(const Performed& performed, const ParsedCall& words);

/// The same, into a file. Throws a usage failure when it can't be drawn.
void writeOverlay(const Performed& performed, const ParsedCall& words, const std::string& file, bool force,
                  Notes& notes);

} // namespace miravex::tool
