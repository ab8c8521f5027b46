// What is looked at before xmlrpc-c reads a document of a peer.
#ifndef NELKANET_SCREEN_H
#define NELKANET_SCREEN_H

#include <string_view>

namespace nelka {

/// Null for a document that xmlrpc-c's parser may be given, otherwise the reason, in words, why it may not: what would
/// crash that parser, keep it busy or bloat it. A document above xmlrpc-c's limit on the size of XML passes, because
/// the parser refuses it unread.
const char* reasonToRefuse(std::string_view document) noexcept;

} // namespace nelka

#endif
