#include "board/request_guard.h"

#include <strings.h>

#include <algorithm>
#include <map>
#include <vector>

namespace board {
namespace {

struct NoCase {
    bool operator()(const std::string& a, const std::string& b) const { return strcasecmp(a.c_str(), b.c_str()) < 0; }
};
using Headers = std::map<std::string, std::vector<std::string>, NoCase>;

std::string Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

// Headers by name, every value of each; none when a line is no header. The request line is left out.
std::optional<Headers> ParseHeaders(std::string_view head) {
    Headers headers;
    for (std::size_t at = head.find("\r\n") + 2; at < head.size();) {
        const std::size_t end = head.find("\r\n", at);
        const std::string_view line = head.substr(at, end - at);
        const std::size_t colon = line.find(':');
        if (colon == 0 || colon == std::string_view::npos || line.find_first_of(" \t\r\n") < colon) return std::nullopt;
        headers[std::string(line.substr(0, colon))].push_back(Trimmed(line.substr(colon + 1)));
        at = end + 2;
    }
    return headers;
}

bool IsNumber(std::string_view text, std::size_t most_digits) {
    return !text.empty() && text.size() <= most_digits &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// Behind a forwarded port the panel has another one.
bool IsOurs(std::string_view host) {
    const std::size_t colon = std::min(host.find(':'), host.size());
    const std::string_view name = host.substr(0, colon);
    return (name == "127.0.0.1" || name == "localhost") &&
           (colon == host.size() || IsNumber(host.substr(colon + 1), 5));
}

// Following a link of another site is no harm.
bool IsForeignFetch(std::string_view head, Headers& headers) {
    const auto& sites = headers["Sec-Fetch-Site"];
    if (std::find(sites.begin(), sites.end(), "cross-site") == sites.end()) return false;
    const auto& modes = headers["Sec-Fetch-Mode"];
    return head.substr(0, 4) != "GET " || modes.size() != 1 || modes[0] != "navigate";
}

}  // namespace

std::optional<Refusal> JudgeRequest(std::string_view head) {
    std::optional<Headers> headers = ParseHeaders(head);
    if (!headers) return Refusal{400, "this is no request that the board understands"};
    const auto& hosts = (*headers)["Host"];
    const auto& origins = (*headers)["Origin"];
    const bool from_here = hosts.size() == 1 && IsOurs(hosts[0]) && origins.size() <= 1 &&
                           (origins.empty() || origins[0] == "http://" + hosts[0]);
    if (!from_here || IsForeignFetch(head, *headers))
        return Refusal{403, "this panel answers its own pages and programs of this PC only"};
    const auto& lengths = (*headers)["Content-Length"];
    if (lengths.size() > 1 || (lengths.size() == 1 && !IsNumber(lengths[0], 18)))
        return Refusal{400, "Content-Length: wants one whole number"};
    return std::nullopt;
}

}  // namespace board
