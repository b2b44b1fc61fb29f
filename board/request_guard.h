// Which requests the panel answers at all.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace board {

struct Refusal {
    int status;
    std::string reason;
};

// Judges a request's head, its lines ended by CR LF: a page of another site can make a browser send requests here, but
// not with our name in Host (unless it made its own name point here, which Host then tells) and not without its own in
// Origin or Sec-Fetch-Site. A length that two readers could take differently is refused, too.
std::optional<Refusal> JudgeRequest(std::string_view head);

}  // namespace board
