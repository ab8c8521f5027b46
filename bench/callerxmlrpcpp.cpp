#include "callers.h"

#include <xmlrpcpp/XmlRpc.h>

namespace bench {

namespace {

class XmlrpcppCaller : public Caller {
public:
    XmlrpcppCaller(const Exchange& exchange_, unsigned short port)
        : exchange(exchange_), block(exchange_.sent), client("127.0.0.1", port, "/RPC2")
    {
    }

    void call() override
    {
        XmlRpc::XmlRpcValue arguments, result;
        const char* method = "SintonizarCanalTerr";
        if (exchange.sent > 0) {
            method = "wrFicheroTablasSI";
            arguments[0] = 1;
            arguments[1] = 2;
            arguments[2] = XmlRpc::XmlRpcValue(block.data(), static_cast<int>(block.size()));
        } else if (exchange.received > 0) {
            method = "RecibirArchivo";
            arguments[0] = "/media/fichero";
            arguments[1] = 0;
        } else {
            const int values[] = {474000000, 8, 1, 0};
            for (int i = 0; i < 4; ++i)
                arguments[i] = values[i];
            arguments[4] = true;
        }
        require(client.execute(method, arguments, result) && !client.isFault(), "xmlrpcpp");
        require(static_cast<int>(result[0]) == 0, "xmlrpcpp status");
        if (exchange.received > 0) {
            const XmlRpc::XmlRpcValue::BinaryData& bytes = result[1];
            require(bytes.size() == exchange.received, "xmlrpcpp block");
        }
    }

private:
    const Exchange exchange;
    std::vector<char> block;
    XmlRpc::XmlRpcClient client;
};

} // namespace

std::unique_ptr<Caller> makeXmlrpcppCaller(const Exchange& exchange, unsigned short port)
{
    return std::make_unique<XmlrpcppCaller>(exchange, port);
}

} // namespace bench
