// The module that is recorded.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <curl/curl.h>

#include "door.h"

namespace nelkaslave {

/// The outcome of a request: an answer, or why none came.
struct Asked {
    std::optional<HttpAnswer> answer;
    bool late = false;
    bool hungUp = false; ///< the caller did not wait for it
    std::string reason;
};

/// Called through libcurl, not xmlrpc-c's client, to pass requests and answers unchanged: parsing and rewriting
/// would round doubles, prefix a fault's text and lose whatever is not XML-RPC.
class RealModule {
public:
    /// HOST or HOST:PORT, with an IPv6 address in brackets. Throws std::invalid_argument for anything else.
    RealModule(const std::string& host, std::chrono::milliseconds deadline);

    RealModule(const RealModule&) = delete;
    RealModule& operator=(const RealModule&) = delete;

    /// Once the request is sent, hangs up on the module as soon as the caller hangs up on us.
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
    // Kept for its connection, which stays open for the next call, as the master's would.
    std::unique_ptr<CURLM, CleanupMulti> multi;
    std::unique_ptr<CURL, Cleanup> easy;
    std::string body;
    char error[CURL_ERROR_SIZE] = "";
};

} // namespace nelkaslave
