// SPDX-License-Identifier: ISC
// JSON-RPC 2.0 over the bus.
#include "simulator/web/rpc.h"

#include <optional>

#include "simulator/web/bustool.h"
#include "simulator/web/config.h"

namespace
{

constexpr std::size_t bodymax = 65536;
constexpr int bustimeout = 60;  // s
constexpr int jsonflags = JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE;
constexpr char nullsession[] = "00000000000000000000000000000000";

struct rpc_error {
    int code;
    const char *message;
};
constexpr rpc_error parseerror = {-32700, "Parse error"};
constexpr rpc_error invalidrequest = {-32600, "Invalid request"};
constexpr rpc_error nomethod = {-32601, "Method not found"};
constexpr rpc_error invalidparameters = {-32602, "Invalid parameters"};
constexpr rpc_error internalerror = {-32603, "Internal error"};
constexpr rpc_error noobject = {-32000, "Object not found"};
constexpr rpc_error denied = {-32002, "Access denied"};
constexpr rpc_error timedout = {-32003, "ubus request timed out"};

enum bus_status {
    bus_ok = 0,
    bus_nomethod = 3,
    bus_notfound = 4,
    bus_denied = 6,
    bus_timeout = 7,
    bus_none = 255
};

// What stands behind "result" or "error".
struct rpc_outcome {
    rpc_outcome(const rpc_error &error)
        : text("\"error\":{\"code\":" + std::to_string(error.code) + ",\"message\":\"" +
               error.message + "\"}")
    {
    }
    rpc_outcome(int status, const std::string &reply)
        : text("\"result\":[" + std::to_string(status) + (reply.empty() ? "" : "," + reply) + "]")
    {
    }
    explicit rpc_outcome(const std::string &result) : text("\"result\":" + result) {}
    std::string text;
};

std::string textof(const json_value &value)
{
    return json_object_to_json_string_ext(value.get(), jsonflags);
}

std::string textat(json_object *object, const char *name)
{
    json_object *found = nullptr;
    if (!json_object_object_get_ex(object, name, &found) ||
        !json_object_is_type(found, json_type_string))
        return "";
    return json_object_get_string(found);
}

struct rpc_call {
    std::string session, object, method;
    json_object *arguments;
};

std::optional<rpc_call> readcall(json_object *parameters)
{
    if (json_object_array_length(parameters) != 4) return {};
    std::string texts[3];
    for (std::size_t i = 0; i < 3; i++) {
        json_object *text = json_object_array_get_idx(parameters, i);
        if (!json_object_is_type(text, json_type_string)) return {};
        texts[i] = json_object_get_string(text);
    }
    json_object *arguments = json_object_array_get_idx(parameters, 3);
    if (!json_object_is_type(arguments, json_type_object)) return {};
    return rpc_call{texts[0], texts[1], texts[2], arguments};
}

rpc_outcome answersession(web_sessions &sessions, const rpc_call &call)
{
    const std::string session = textat(call.arguments, "ubus_rpc_session");
    if (call.method == "login") {
        json_object *timeout = nullptr;
        (void)json_object_object_get_ex(call.arguments, "timeout", &timeout);
        const json_value answer =
            sessions.login(textat(call.arguments, "username"), textat(call.arguments, "password"),
                           json_object_get_int(timeout));
        if (!answer) return {bus_denied, ""};
        return {bus_ok, textof(answer)};
    }
    if (call.method == "access") {
        const std::string asked = session.empty() ? call.session : session;
        const std::string object = textat(call.arguments, "object");
        if (!object.empty()) {
            const bool granted =
                sessions.mayaccess(asked, object, textat(call.arguments, "function"));
            return {bus_ok, granted ? "{\"access\":true}" : "{\"access\":false}"};
        }
        const json_value rights = sessions.rights(asked);
        if (!rights) return {bus_notfound, ""};
        return {bus_ok, textof(rights)};
    }
    if (call.method == "destroy")
        return {sessions.destroy(session.empty() ? call.session : session) ? bus_ok : bus_notfound,
                ""};
    return denied;
}

// The configuration, read only: what the page asks of it.
rpc_outcome answeruci(const rpc_call &call)
{
    if (call.method != "get") return {bus_nomethod, ""};
    const json_value values = config_values(textat(call.arguments, "config"));
    if (!values) return {bus_notfound, ""};
    return {bus_ok, "{\"values\":" + textof(values) + "}"};
}

rpc_outcome answercall(web_sessions &sessions, json_object *parameters)
{
    const std::optional<rpc_call> call = readcall(parameters);
    if (!call) return invalidparameters;
    if (call->object == "session") return answersession(sessions, *call);
    const bool isuci = call->object == "uci";
    if (!isuci && !bus_has(call->object)) return noobject;
    if (call->session == nullsession ||
        !sessions.mayaccess(call->session, call->object, call->method))
        return denied;
    if (isuci) {
        // The service itself looks at the second scope.
        if (!sessions.mayaccess(call->session, textat(call->arguments, "config"), "read", "uci"))
            return {bus_denied, ""};
        return answeruci(*call);
    }
    json_object_object_add(call->arguments, "ubus_rpc_session",
                           json_object_new_string(call->session.c_str()));
    const bus_answer answer = bus_call(call->object, call->method, call->arguments, bustimeout);
    if (answer.status == bus_timeout) return timedout;
    if (answer.status == bus_none) return internalerror;
    return {answer.status, answer.reply};
}

rpc_outcome answerlist(json_object *parameters)
{
    // With or without a session before it, the last text is a name or a pattern.
    const std::size_t count =
        json_object_is_type(parameters, json_type_array) ? json_object_array_length(parameters) : 0;
    if (count == 0) return rpc_outcome(bus_list("*"));
    json_object *pattern = json_object_array_get_idx(parameters, count - 1);
    if (!json_object_is_type(pattern, json_type_string)) return invalidparameters;
    return rpc_outcome(bus_list(json_object_get_string(pattern)));
}

rpc_outcome answerrequest(web_sessions &sessions, json_object *request)
{
    json_object *parameters = nullptr;
    if (!json_object_is_type(request, json_type_object) || textat(request, "jsonrpc") != "2.0" ||
        textat(request, "method").empty())
        return invalidrequest;
    (void)json_object_object_get_ex(request, "params", &parameters);
    const std::string method = textat(request, "method");
    if (method == "list") return answerlist(parameters);
    if (method != "call") return nomethod;
    if (!json_object_is_type(parameters, json_type_array)) return invalidparameters;
    return answercall(sessions, parameters);
}

std::string answerone(web_sessions &sessions, json_object *request)
{
    json_object *id = nullptr;
    if (json_object_is_type(request, json_type_object))
        (void)json_object_object_get_ex(request, "id", &id);
    const std::string idtext = json_object_to_json_string_ext(id, jsonflags);
    return "{\"jsonrpc\":\"2.0\",\"id\":" + idtext + "," + answerrequest(sessions, request).text +
           "}";
}

}  // namespace

std::string rpc_answer(web_sessions &sessions, const std::string &body)
{
    const json_value request(body.size() <= bodymax ? json_tokener_parse(body.c_str()) : nullptr);
    if (!request) return "{\"jsonrpc\":\"2.0\",\"id\":null," + rpc_outcome(parseerror).text + "}";
    if (!json_object_is_type(request.get(), json_type_array))
        return answerone(sessions, request.get());
    std::string answers;
    for (std::size_t i = 0; i < json_object_array_length(request.get()); i++) {
        if (i > 0) answers += ",";
        answers += answerone(sessions, json_object_array_get_idx(request.get(), i));
    }
    return "[" + answers + "]";
}
