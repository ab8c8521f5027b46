// Checks a peer's document before xmlrpc-c reads it.
#ifndef NELKANET_SCREEN_H
#define NELKANET_SCREEN_H

#include <string_view>

namespace nelka {

/// Null if xmlrpc-c's parser may read the document, otherwise why not, in words: it would crash, stall or bloat the
/// parser. A document above xmlrpc-c's size limit passes, because the parser refuses it unread.
const char* reasonToRefuse(std::string_view document) noexcept;

} // namespace nelka

#endif
