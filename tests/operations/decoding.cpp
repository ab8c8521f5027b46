#include "decoding.h"

#include <syslog.h>

#include "support/xml.h"

namespace support {

std::string Reply::body() const
{
    if (!isArray)
        return xml::response(elements.at(0).xml);
    std::vector<std::string> values;
    for (const Element& element : elements)
        values.push_back(element.xml);
    return xml::response(xml::array(values));
}

const std::vector<Element>& anyElements()
{
    static const std::vector<Element> all{
        {'i', xml::i4(5)},       {'I', xml::i8(6)},     {'b', xml::boolean(true)},
        {'d', xml::real("1.5")}, {'s', xml::text("x")}, {'6', xml::base64("y")},
        {'n', xml::nil()},       {'A', xml::array({})}, {'S', xml::structure({{"a", xml::i4(1)}})}};
    return all;
}

Reply goodReply(const Operation& operation, int status)
{
    Reply reply{{}, status};
    const std::string types = operation.types();
    for (const std::string& value : operation.sampleReply(status))
        reply.elements.push_back({types[reply.elements.size()], value});
    return reply;
}

std::vector<Reply> wrongTypes(const Operation& operation)
{
    std::vector<Reply> all;
    const Reply good = goodReply(operation, 3);
    for (std::size_t place = 0; place < good.elements.size(); ++place)
        for (const Element& element : anyElements())
            if (element.type != good.elements[place].type) {
                all.push_back(good);
                all.back().elements[place] = element;
            }
    return all;
}

std::vector<Reply> missingElements(const Operation& operation)
{
    std::vector<Reply> all;
    for (Reply reply = goodReply(operation, 3); !reply.elements.empty();) {
        reply.elements.pop_back();
        all.push_back(reply);
    }
    return all;
}

std::vector<Reply> scalars()
{
    std::vector<Reply> all;
    for (const Element& element : anyElements())
        if (element.type != 'A')
            all.push_back({{element}, 0, false});
    return all;
}

Decoding decodingOf(const Operation& operation, const Reply& reply)
{
    // An operation with a short reply measures it first, and only an array has a size.
    const std::string allTypes = operation.types();
    std::string types = allTypes;
    if (!operation.shortReply.empty() && reply.elements.size() == 1)
        types = reply.isArray ? "i" : "";
    const bool hasBlock = types.find('6') != std::string::npos;
    const bool hasText = types.find('s') != std::string::npos;

    std::size_t decoded = 0; // elements, from the first
    int fault = 0;
    if (!reply.isArray)
        fault = XMLRPC_TYPE_ERROR;
    else if (reply.elements.size() < types.size())
        fault = XMLRPC_INDEX_ERROR;
    while (fault == 0 && decoded < types.size()) {
        if (reply.elements[decoded].type == types[decoded])
            ++decoded;
        else
            fault = XMLRPC_TYPE_ERROR;
    }
    const bool whole = fault == 0 && types == allTypes;
    const int status = decoded > operation.statusAt ? reply.status : 0;

    Decoding decoding;
    decoding.throws = fault != 0 && hasText;
    decoding.failed = fault != 0 && !hasText;
    decoding.refused = fault == 0 && operation.refuses(status);
    decoding.fault = decoding.failed ? fault : decoding.refused ? status : 0;

    const std::vector<std::string> delivered = operation.delivered(status);
    decoding.outputs = operation.read({});
    for (std::size_t i = 0; i < delivered.size(); ++i) {
        const Kind kind = operation.outputs[i].kind;
        // These two are decoded directly into the outputs, the others are copied at the end.
        if (whole || (kind == Kind::status && decoded > operation.statusAt)
            || (kind == Kind::integer && decoded > allTypes.rfind('i')))
            decoding.outputs[i] = delivered[i];
        else if (kind == Kind::block && hasBlock)
            decoding.outputs[i].clear();
    }

    const auto note = [&](const std::string& text) { decoding.notes.push_back({LOG_DEBUG, text}); };
    const std::string digits = std::to_string(status);
    if (operation.name == "sampleadd" && whole)
        decoding.notes.push_back({LOG_INFO, "Resultado " + digits + "\n"});
    if (operation.name == "xmlrpc_changes" && whole)
        note("check_changes result " + digits + ", tmp_changes : " + delivered[0]);
    if (operation.name == "getHoraModulo" && whole)
        note("horaActual " + delivered[0]);
    if (operation.name == "ejecutar_script")
        note("ejecutar_script result " + digits);
    if (operation.name == "generarJSONWeb" && reply.isArray)
        note("size " + std::to_string(reply.elements.size()));
    if (operation.name == "rdFicheroTablasSI" && hasBlock)
        note("longitud " + std::to_string(whole ? delivered[0].size() : 0));
    return decoding;
}

} // namespace support
