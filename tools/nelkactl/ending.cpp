#include "ending.h"

namespace nelkactl {

const char* nameOf(Kind kind)
{
    switch (kind) {
    case Kind::done:
        return "done";
    case Kind::refused:
        return "refused";
    case Kind::unusable:
        return "unusable";
    case Kind::faulted:
        return "faulted";
    case Kind::timedOut:
        return "timed out";
    case Kind::interrupted:
        return "interrupted";
    }
    return "";
}

} // namespace nelkactl
