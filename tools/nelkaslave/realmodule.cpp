#include "realmodule.h"

#include <stdexcept>

#include "ending.h"

namespace nelkaslave {

namespace {

constexpr std::size_t largestAnswer = 16U << 20U;

std::string urlOf(const std::string& host)
{
    struct Release {
        void operator()(CURLU* url) const { curl_url_cleanup(url); }
        void operator()(char* text) const { curl_free(text); }
    };
    const std::unique_ptr<CURLU, Release> url(curl_url());
    const auto part = [&](CURLUPart which) {
        char* text = nullptr;
        curl_url_get(url.get(), which, &text, 0);
        const std::unique_ptr<char, Release> owned(text);
        return std::string(text ? text : "");
    };
    const bool right = host.find_first_of("/?#@\\") == std::string::npos
                       && curl_url_set(url.get(), CURLUPART_URL, ("http://" + host + "/RPC2").c_str(), 0) == CURLUE_OK
                       && part(CURLUPART_PATH) == "/RPC2" && part(CURLUPART_PORT) != "0";
    if (!right)
        throw std::invalid_argument("\"" + host + "\" is not HOST or HOST:PORT");
    if (part(CURLUPART_PORT).empty())
        curl_url_set(url.get(), CURLUPART_PORT, "8080", 0);
    return part(CURLUPART_URL);
}

curl_off_t uploaded(CURL* easy)
{
    curl_off_t size = 0;
    curl_easy_getinfo(easy, CURLINFO_SIZE_UPLOAD_T, &size);
    return size;
}

} // namespace

RealModule::RealModule(const std::string& host, std::chrono::milliseconds deadline)
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    headers.reset(curl_slist_append(curl_slist_append(nullptr, "Content-Type: text/xml"), "Expect:"));
    multi.reset(curl_multi_init());
    easy.reset(curl_easy_init());
    curl_easy_setopt(easy.get(), CURLOPT_URL, urlOf(host).c_str());
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(easy.get(), CURLOPT_POST, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(deadline.count()));
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L); // the slave uses the alarm itself
    curl_easy_setopt(easy.get(), CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, take);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &body);
}

std::size_t RealModule::take(const char* bytes, std::size_t, std::size_t count, void* user)
{
    std::string& taken = *static_cast<std::string*>(user);
    if (count > largestAnswer - taken.size())
        return 0;
    taken.append(bytes, count);
    return count;
}

Asked RealModule::ask(const std::string& request, const Caller& caller)
{
    body.clear();
    error[0] = '\0';
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.size()));
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, request.data());
    curl_multi_add_handle(multi.get(), easy.get());

    Asked asked;
    curl_waitfd watched{caller.descriptor(), CURL_WAIT_POLLIN, 0};
    bool watching = true;
    for (int running = 1; !asked.hungUp && !ending();) {
        curl_multi_perform(multi.get(), &running);
        if (running == 0)
            break;
        // A module that has the request carries it out even if the caller has gone.
        const bool sent = uploaded(easy.get()) == static_cast<curl_off_t>(request.size());
        watched.revents = 0;
        curl_multi_poll(multi.get(), &watched, sent && watching, 1000, nullptr);
        if (watched.revents != 0) {
            asked.hungUp = caller.hungUp();
            watching = false; // it sends more than a request and would stay readable
        }
    }

    int left = 0;
    const CURLMsg* const end = curl_multi_info_read(multi.get(), &left);
    if (!end) {
        asked.reason = asked.hungUp ? "the caller hung up" : "the recorder ends";
    } else if (const CURLcode result = end->data.result; result == CURLE_OK) {
        long status = 0;
        const char* type = nullptr;
        curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
        curl_easy_getinfo(easy.get(), CURLINFO_CONTENT_TYPE, &type);
        asked.answer = HttpAnswer{static_cast<int>(status), type ? type : "", std::move(body)};
    } else {
        asked.late = result == CURLE_OPERATION_TIMEDOUT;
        asked.reason = result == CURLE_WRITE_ERROR ? "the answer is too large"
                       : error[0] != '\0'          ? error
                                                   : curl_easy_strerror(result);
    }
    curl_multi_remove_handle(multi.get(), easy.get());
    return asked;
}

} // namespace nelkaslave
