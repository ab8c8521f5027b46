#include "callers.h"

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <curl/curl.h>
#include <syslog.h>
#include <xmlrpc-c/base.h>
#include <xmlrpc-c/client.h>

#include <nelkanet/xmlrpclient.h>

#include "support/xml.h"

namespace bench {

namespace {

constexpr int timeoutMs = 10000;
constexpr unsigned char bandwidth = 8;
const char* const path = "/media/fichero";

std::string url(unsigned short port)
{
    return "http://127.0.0.1:" + std::to_string(port) + "/RPC2";
}

class NelkanetCaller : public Caller {
public:
    NelkanetCaller(const Exchange& exchange_, unsigned short port)
        : exchange(exchange_), block(exchange_.sent), client("127.0.0.1", port, "eth0", "bench", "1.0")
    {
        require(client.init() == 0, "init");
        channel.frecuencia = 474000000;
        channel.parametroTerr = bandwidth;
    }

    void call() override
    {
        if (exchange.sent > 0) {
            client.wrFicheroTablasSI(1, 2, block, timeoutMs);
        } else if (exchange.received > 0) {
            std::vector<char> fetched;
            client.RdFicheroEsclavo(path, 0, fetched, timeoutMs);
            require(fetched.size() == exchange.received, "block");
        } else {
            client.sintonizarCanalTerr(channel, 1, status, true, timeoutMs);
        }
        require(client.getFault() == 0, "nelkanet");
    }

private:
    const Exchange exchange;
    const std::vector<char> block;
    nelka::tcanal channel;
    int status = -1;
    nelka::XmlrpcClient client;
};

// Raw xmlrpc-c, set up as by the library.
class XmlrpcCCaller : public Caller {
public:
    XmlrpcCCaller(const Exchange& exchange_, unsigned short port)
        : exchange(exchange_), block(exchange_.sent), serverUrl(url(port))
    {
        xmlrpc_env_init(&env);
        xmlrpc_client_setup_global_const(&env);
        xmlrpc_curl_xportparms transport = {};
        transport.no_ssl_verifypeer = true;
        transport.no_ssl_verifyhost = true;
        transport.user_agent = "bench/1.0";
        transport.sslengine_default = true;
        transport.timeout = 17000;
        xmlrpc_clientparms parameters = {};
        parameters.transport = "curl";
        parameters.transportparmsP = &transport;
        parameters.transportparm_size = XMLRPC_CXPSIZE(timeout);
        xmlrpc_client_create(&env, 0, "bench", "1.0", &parameters, XMLRPC_CPSIZE(transportparm_size), &client);
        require(!env.fault_occurred, "xmlrpc_client_create");
        xmlrpc_client_set_interrupt(client, &interrupt);
        xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1048576);
    }

    ~XmlrpcCCaller() override
    {
        xmlrpc_client_destroy(client);
        xmlrpc_client_teardown_global_const();
        xmlrpc_env_clean(&env);
    }

    void call() override
    {
        xmlrpc_value* result = nullptr;
        xmlrpc_int32 status = -1;
        if (exchange.sent > 0) {
            xmlrpc_client_call2f(&env, client, serverUrl.c_str(), "wrFicheroTablasSI", &result, "(ii6)", 1, 2,
                                 block.data(), block.size());
        } else if (exchange.received > 0) {
            xmlrpc_client_call2f(&env, client, serverUrl.c_str(), "RecibirArchivo", &result, "(si)", path, 0);
        } else {
            xmlrpc_client_call2f(&env, client, serverUrl.c_str(), "SintonizarCanalTerr", &result, "(iiiib)", 474000000,
                                 static_cast<int>(bandwidth), 1, 0, xmlrpc_bool(true));
        }
        require(!env.fault_occurred, "xmlrpc_client_call2f");
        if (exchange.received > 0) {
            const unsigned char* bytes = nullptr;
            std::size_t size = 0;
            xmlrpc_decompose_value(&env, result, "(i6*)", &status, &bytes, &size);
            require(size == exchange.received, "block");
            std::free(const_cast<unsigned char*>(bytes));
        } else {
            xmlrpc_decompose_value(&env, result, "(i*)", &status);
        }
        require(!env.fault_occurred && status == 0, "xmlrpc_decompose_value");
        xmlrpc_DECREF(result);
    }

private:
    const Exchange exchange;
    const std::vector<unsigned char> block;
    const std::string serverUrl;
    xmlrpc_env env = {};
    xmlrpc_client* client = nullptr;
    int interrupt = 0;
};

// The same, plus the library's log lines.
class LoggingXmlrpcCCaller : public XmlrpcCCaller {
public:
    using XmlrpcCCaller::XmlrpcCCaller;

    void call() override
    {
        syslog(LOG_DEBUG, "%s", "sintonizarCanalTerr : frecuencia: 474000000\n");
        syslog(LOG_DEBUG, "INICIO ALARMA %i", timeoutMs);
        XmlrpcCCaller::call();
        syslog(LOG_DEBUG, "INICIO ALARMA %i", 0);
    }
};

// A prepared body; ignores the content of the answer.
class CurlCaller : public Caller {
public:
    CurlCaller(const Exchange& exchange, unsigned short port)
        : body(request(exchange)), curl(curl_easy_init()),
          headers(curl_slist_append(curl_slist_append(nullptr, "Content-Type: text/xml"), "Expect:"))
    {
        curl_easy_setopt(curl, CURLOPT_URL, url(port).c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(curl, CURLOPT_USERAGENT, "bench/1.0");
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
    }

    ~CurlCaller() override
    {
        curl_slist_free_all(headers);
        curl_easy_cleanup(curl);
    }

    void call() override
    {
        answer.clear();
        require(curl_easy_perform(curl) == CURLE_OK && answer.ends_with("</methodResponse>\r\n"), "curl_easy_perform");
    }

private:
    static std::string request(const Exchange& exchange)
    {
        namespace xml = support::xml;
        if (exchange.sent > 0) {
            const std::string block = xml::encodeBase64(std::string(exchange.sent, '\0'));
            return xml::requestBody("wrFicheroTablasSI",
                                    {"<i4>1</i4>", "<i4>2</i4>", "<base64>" + block + "</base64>"});
        }
        if (exchange.received > 0)
            return xml::requestBody("RecibirArchivo", {"<string>" + std::string(path) + "</string>", "<i4>0</i4>"});
        return xml::requestBody("SintonizarCanalTerr", {"<i4>474000000</i4>", "<i4>8</i4>", "<i4>1</i4>", "<i4>0</i4>",
                                                        "<boolean>1</boolean>"});
    }

    static std::size_t append(char* data, std::size_t, std::size_t size, void* answer)
    {
        static_cast<std::string*>(answer)->append(data, size);
        return size;
    }

    const std::string body;
    CURL* const curl;
    curl_slist* const headers;
    std::string answer;
};

} // namespace

std::unique_ptr<Caller> makeCaller(const std::string& name, const Exchange& exchange, unsigned short port)
{
    if (name == "nelkanet")
        return std::make_unique<NelkanetCaller>(exchange, port);
    if (name == "xmlrpc-c")
        return std::make_unique<XmlrpcCCaller>(exchange, port);
    if (name == "xmlrpc-c+syslog")
        return std::make_unique<LoggingXmlrpcCCaller>(exchange, port);
    if (name == "libcurl")
        return std::make_unique<CurlCaller>(exchange, port);
#ifdef HAVE_XMLRPCPP
    if (name == "xmlrpcpp")
        return makeXmlrpcppCaller(exchange, port);
#endif
    throw std::runtime_error("no caller " + name);
}

void require(bool went, const char* what)
{
    if (!went)
        throw std::runtime_error(std::string(what) + " failed");
}

} // namespace bench
