#include "tools/miravex/failure.h"

namespace miravex::tool {

namespace {

ExitStatus statusOf(files::Error::Kind kind)
{
    switch (kind) {
    case files::Error::Kind::Request: return ExitStatus::Usage;
    case files::Error::Kind::Input: return ExitStatus::InputUnreadable;
    case files::Error::Kind::Output: break;
    }
    return ExitStatus::OperationFailed;
}

} // namespace

Failure::Failure(const files::Error& error)
    : Failure(statusOf(error.kind()), error.what(), error.refusals())
{
}

} // namespace miravex::tool
