// SPDX-License-Identifier: MIT
#include "tools/hub/web/server/Answers.h"

#include "tools/hub/status/Status.h"
#include "tools/hub/web/page/Page.h"

#include <array>
#include <boost/beast/http/field.hpp>

namespace feedline::hub::web {

namespace {

namespace http = boost::beast::http;

// Everything comes from here, nothing runs but the page's own files, and nobody frames it. Nothing
// sets a cookie.
constexpr const char* policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "worker-src 'self'; manifest-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'";

std::string text(boost::beast::string_view view) {
    return {view.data(), view.size()};
}

Response begin(const Request& request, http::status status) {
    Response response(status, request.version());
    response.keep_alive(request.keep_alive() && status == http::status::ok);
    response.set("Content-Security-Policy", policy);
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set(http::field::cache_control, "no-cache");
    return response;
}

void finish(Response& response, const Request& request) {
    response.prepare_payload();
    if (request.method() == http::verb::head)
        response.body().clear();
}

Response say(const Request& request, http::status status, const std::string& words) {
    Response response = begin(request, status);
    response.set(http::field::content_type, "text/plain; charset=utf-8");
    response.body() = words + "\n";
    finish(response, request);
    return response;
}

Response give(const Request& request, const char* type, std::string body) {
    Response response = begin(request, http::status::ok);
    response.set(http::field::content_type, type);
    response.body() = std::move(body);
    finish(response, request);
    return response;
}

Response giveFile(const Request& request, const PageFile& file) {
    if (text(request[http::field::if_none_match]) == file.tag) {
        Response response = begin(request, http::status::not_modified);
        response.keep_alive(request.keep_alive());
        response.set(http::field::etag, file.tag.data());
        return response;
    }
    Response response = give(request, file.type.data(), std::string(file.content));
    response.set(http::field::etag, file.tag.data());
    return response;
}

} // namespace

Asking askingOf(const Request& request, const boost::asio::ip::address& peer) {
    Asking asking;
    asking.peer = peer;
    asking.host = text(request[http::field::host]);
    asking.origin = text(request[http::field::origin]);
    const auto [first, last] = request.equal_range("X-Forwarded-For");
    for (auto line = first; line != last; ++line)
        asking.forwardedFor += (asking.forwardedFor.empty() ? "" : ",") + text(line->value());
    for (const char* const header : {"Forwarded", "Via", "X-Forwarded-For", "X-Forwarded-Host",
                                     "X-Forwarded-Proto", "X-Forwarded-Server", "X-Real-IP"})
        asking.forwarded = asking.forwarded || request.find(header) != request.end();
    return asking;
}

std::string bearerOf(const Request& request) {
    const std::string authorization = text(request[http::field::authorization]);
    constexpr std::string_view scheme = "Bearer ";
    return authorization.starts_with(scheme) ? authorization.substr(scheme.size()) : std::string();
}

std::optional<Response> refusal(const Request& request, const Asking& asking,
                                const Access& access) {
    if (!access.isHostOurs(asking.host))
        return say(request, http::status::misdirected_request,
                   "This name is not mine. Add it to the hub's web-host, or use an address.");
    if (!access.isOriginOurs(asking.origin, asking.host))
        return say(request, http::status::forbidden, "This is for my own page only.");
    return std::nullopt;
}

Response tooMany(const Request& request) {
    return say(request, http::status::service_unavailable,
               "Full: there are too many connections already. Try again in a while.");
}

Response answer(const Request& request, const Asking& asking, const Access& access,
                const Receiver& receiver) {
    if (request.method() != http::verb::get && request.method() != http::verb::head) {
        Response response = say(request, http::status::method_not_allowed, "GET and HEAD only.");
        response.set(http::field::allow, "GET, HEAD");
        return response;
    }
    const std::string target = text(request.target());
    const std::string path = target.substr(0, target.find('?'));
    if (const PageFile* const file = pageFile(path))
        return giveFile(request, *file);
    if (path != "/status" && path != "/metrics")
        return say(request, http::status::not_found, "There is nothing here.");
    if (!access.mayReadStatus(asking, bearerOf(request)))
        return say(request, http::status::forbidden, "For this machine, or with the token.");
    return path == "/status" ? give(request, "application/json", statusJson(receiver) + "\n")
                             : give(request, metricsContentType, statusMetrics(receiver));
}

} // namespace feedline::hub::web
