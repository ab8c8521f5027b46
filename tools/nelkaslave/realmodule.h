// The module that is recorded.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <curl/curl.h>

#include "door.h"

namespace nelkaslave {

/// What came of a request: an answer, or the reason why there is none.
struct Asked {
    std::optional<HttpAnswer> answer;
    bool late = false;
    bool hungUp = false; ///< the caller did not wait for it
    std::string reason;
};

/// Asked with libcurl, not with xmlrpc-c's client: requests and answers pass byte by byte. Values that are taken apart
/// and put together again are others: doubles are rounded, a fault's text gets a prefix, and what is no XML-RPC is
/// lost.
class RealModule {
public:
    /// HOST or HOST:PORT, an IPv6 address in brackets. Throws std::invalid_argument for what is neither.
    RealModule(const std::string& host, std::chrono::milliseconds deadline);

    RealModule(const RealModule&) = delete;
    RealModule& operator=(const RealModule&) = delete;

    /// Gives up as soon as the caller does, as the module would see it from the caller itself.
    Asked ask(const std::string& request, const Caller& caller);

private:
    struct Cleanup {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    };
    struct CleanupMulti {
        void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
    };
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    static std::size_t take(const char* bytes, std::size_t, std::size_t count, void* user);

    std::unique_ptr<curl_slist, FreeList> headers;
    // Kept, and with it the connection: the next call of a master finds it open too.
    std::unique_ptr<CURLM, CleanupMulti> multi;
    std::unique_ptr<CURL, Cleanup> easy;
    std::string body;
    char error[CURL_ERROR_SIZE] = "";
};

} // namespace nelkaslave
