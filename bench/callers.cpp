#include "callers.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <curl/curl.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>
#include <xmlrpc-c/base.h>
#include <xmlrpc-c/client.h>

#include <nelkanet/xmlrpclient.h>

#include "http.h"
#include "process.h"

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

// xmlrpc-c by itself, set up as the library sets it up.
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

// ... and with the lines that the library logs.
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

// What xmlrpc-c sends, head and body, to the byte but for the port.
std::string request(const Exchange& exchange)
{
    const Listener listener;
    std::string message;
    std::thread served([&] {
        const Connection connection = listener.accept();
        connection.receive(message);
        connection.send(reply(exchange.received));
    });
    XmlrpcCCaller(exchange, listener.port()).call();
    served.join();
    return message;
}

std::string bodyOf(const std::string& message)
{
    return message.substr(message.find("\r\n\r\n") + 4);
}

class CurlCaller : public Caller {
public:
    CurlCaller(const Exchange& exchange, unsigned short port)
        : body(bodyOf(request(exchange))), expected(bodyOf(reply(exchange.received)).size()), curl(curl_easy_init()),
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
        require(curl_easy_perform(curl) == CURLE_OK && answer.size() == expected, "curl_easy_perform");
    }

private:
    static std::size_t append(char* data, std::size_t, std::size_t size, void* answer)
    {
        static_cast<std::string*>(answer)->append(data, size);
        return size;
    }

    const std::string body;
    const std::size_t expected;
    CURL* const curl;
    curl_slist* const headers;
    std::string answer;
};

class SocketCaller : public Caller {
public:
    SocketCaller(const Exchange& exchange, unsigned short port)
        : message(request(exchange)), connection(Connection::to(port))
    {
    }

    void call() override
    {
        connection.send(message);
        require(connection.receive(answer), "socket");
    }

private:
    const std::string message;
    const Connection connection;
    std::string answer;
};

class ReconnectingCaller : public Caller {
public:
    ReconnectingCaller(const Exchange& exchange, unsigned short port_) : message(request(exchange)), port(port_) {}

    void call() override
    {
        const Connection connection = Connection::to(port);
        connection.send(message);
        require(connection.receive(answer), "socket");
    }

private:
    const std::string message;
    const unsigned short port;
    std::string answer;
};

// Calls in another process, many at a time so that the way there and back does not count.
class PythonCaller : public Caller {
public:
    PythonCaller(const Exchange& exchange, unsigned short port)
        : python({"/usr/bin/python3", PYTHON_CALLER, std::to_string(exchange.sent), std::to_string(exchange.received),
                  std::to_string(port)},
                 -1)
    {
        python.readLine();
        clock_getcpuclockid(python.id(), &clock);
    }

    void call() override { calls(1); }

    void calls(std::size_t count) override
    {
        python.writeLine(std::to_string(count));
        python.readLine();
    }

    clockid_t processorClock() const override { return clock; }

private:
    const Process python;
    clockid_t clock = 0;
};

template <class Kind>
std::unique_ptr<Caller> make(const Exchange& exchange, unsigned short port)
{
    return std::make_unique<Kind>(exchange, port);
}

struct Entry {
    std::string name;
    std::unique_ptr<Caller> (*make)(const Exchange&, unsigned short);
};

const std::vector<Entry>& callers()
{
    static const std::vector<Entry> all = [] {
        std::vector<Entry> entries = {
            {"nelkanet", make<NelkanetCaller>},
            {"xmlrpc-c", make<XmlrpcCCaller>},
            {"libcurl", make<CurlCaller>},
            {"socket", make<SocketCaller>},
        };
#ifdef HAVE_XMLRPCPP
        entries.push_back({"xmlrpcpp", makeXmlrpcppCaller});
#endif
        if (access("/usr/bin/python3", X_OK) == 0)
            entries.push_back({"xmlrpc.client", make<PythonCaller>});
        return entries;
    }();
    return all;
}

} // namespace

const std::vector<Exchange>& exchanges()
{
    static const std::vector<Exchange> all = {{"small", 0, 0},
                                              {"write48k", 48000, 0},
                                              {"read48k", 0, 48000},
                                              {"write700k", 700000, 0},
                                              {"read700k", 0, 700000}};
    return all;
}

const Exchange& exchangeNamed(const std::string& name)
{
    for (const Exchange& exchange : exchanges()) {
        if (exchange.name == name)
            return exchange;
    }
    throw std::runtime_error("no exchange " + name);
}

const std::vector<std::string>& callerNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Entry& entry : callers())
            all.push_back(entry.name);
        return all;
    }();
    return names;
}

std::unique_ptr<Caller> makeCaller(const std::string& name, const Exchange& exchange, unsigned short port)
{
    if (name == "xmlrpc-c+syslog")
        return make<LoggingXmlrpcCCaller>(exchange, port);
    for (const Entry& entry : callers()) {
        if (entry.name == name)
            return entry.make(exchange, port);
    }
    throw std::runtime_error("no caller " + name);
}

std::unique_ptr<Caller> makeReconnectingCaller(const Exchange& exchange, unsigned short port)
{
    return make<ReconnectingCaller>(exchange, port);
}

void require(bool went, const char* what)
{
    if (!went)
        throw std::runtime_error(std::string(what) + " failed");
}

} // namespace bench
