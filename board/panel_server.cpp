#include "board/panel_server.h"

#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <exception>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string_view>

#include <httplib.h>

#include "board/medium_files.h"
#include "board/panel_connection.h"
#include "board/panel_files.h"
#include "board/request_guard.h"
#include "mwin/platform.h"
#include "mwin/windows.h"

namespace board {
namespace {

using httplib::Request;
using httplib::Response;
using nlohmann::json;

constexpr const char* kAddress = "127.0.0.1";
constexpr const char* kPlainText = "text/plain; charset=utf-8";
constexpr const char* kBoundary = "lcd";
// Each stream holds a worker for as long as it is looked at; the rest is left for everything else.
constexpr int kWorkers = 24;
constexpr int kMaxStreams = 12;
constexpr std::size_t kMaxBody = std::size_t{64} * 1024;
constexpr std::size_t kMaxTarget = 2048;
constexpr std::size_t kFileChunk = std::size_t{64} * 1024;

struct KeyName {
    std::string_view name;
    int virtual_key;
};
constexpr std::array<KeyName, 9> kKeys = {{{"enter", VK_RETURN},
                                           {"left", VK_LEFT},
                                           {"up", VK_UP},
                                           {"right", VK_RIGHT},
                                           {"down", VK_DOWN},
                                           {"f1", VK_F1},
                                           {"f2", VK_F2},
                                           {"f3", VK_F3},
                                           {"f4", VK_F4}}};

void Answer(Response& response, int status, const std::string& text) {
    response.status = status;
    response.set_content(text + "\n", kPlainText);
}

// True when the request was answered here, with a refusal.
bool Refused(const Request& request, Response& response) {
    if (request.target.size() > kMaxTarget) {
        Answer(response, 414, "the address is too long");
    } else if (request.has_header("Transfer-Encoding") || request.has_header("Content-Encoding")) {
        // A body is bounded by the length it states.
        Answer(response, 411, "send a plain body with its Content-Length");
    } else {
        return false;
    }
    return true;
}

void SetSocketOptions(int socket) {
    // A port that another server listens on is refused, one that was in use a moment ago is not.
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
}

// For the refusals that the server's library makes by itself.
const char* Reason(int status) {
    switch (status) {
        case 404:
            return "there is nothing of this name";
        case 413:
            return "the body is too large";
        case 416:
            return "the file has no such part";
        default:
            return "this is no request that the board understands";
    }
}

// For requests whose body nobody wants: one that is there is read and dropped. A request that states no length has
// none; the library would wait for it until its time-out.
httplib::Server::HandlerWithContentReader WithoutBody(httplib::Server::Handler handler) {
    return [handler = std::move(handler)](const Request& request, Response& response,
                                          const httplib::ContentReader& reader) {
        if (request.has_header("Content-Length") && !reader([](const char*, std::size_t) { return true; })) return;
        handler(request, response);
    };
}

const char* FileType(const std::string& path) {
    const auto has_end = [&](std::string_view end) {
        return path.size() >= end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0;
    };
    if (has_end(".jpg") || has_end(".JPG")) return "image/jpeg";
    if (has_end(".avi") || has_end(".AVI")) return "video/x-msvideo";
    return "application/octet-stream";
}

}  // namespace

// Serves each connection within bounds, and only what the guard lets pass.
class PanelServer::Listener final : public httplib::Server {
  public:
    // Ends the connections that are open, and those that still wait to be served.
    void ShutConnections() {
        const std::lock_guard<std::mutex> lock(mutex_);
        shut_ = true;
        for (const int socket : open_)
            shutdown(socket, SHUT_RDWR);
    }

  private:
    bool process_and_close_socket(socket_t socket) override {
        const bool served = Enter(socket) && Serve(socket);
        Leave(socket);
        shutdown(socket, SHUT_RDWR);
        close(socket);
        return served;
    }
    bool Serve(int socket) {
        PanelConnection connection(socket);
        if (!connection.ReadHead()) return false;
        if (const auto refusal = JudgeRequest(connection.Head())) {
            connection.Refuse(refusal->status, refusal->reason);
            return false;
        }
        // One request per connection: an idle connection would hold a worker, and what is left of a refused body must
        // never be read as the next request.
        bool closed = false;
        return process_request(connection, true, closed, nullptr);
    }
    bool Enter(int socket) {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_.insert(socket);
        return !shut_;
    }
    void Leave(int socket) {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_.erase(socket);
    }

    std::mutex mutex_;
    bool shut_ = false;
    std::set<int> open_;
};

PanelServer::PanelServer(Block& block, int keys, BoardFolder& folder, BoardState& state, ProgramProcess& program)
    : block_(block),
      keys_(keys),
      folder_(folder),
      state_(state),
      program_(program),
      live_view_(block),
      server_(std::make_unique<Listener>()) {
    server_->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
    server_->set_socket_options(SetSocketOptions);
    server_->set_payload_max_length(kMaxBody);
    server_->set_tcp_nodelay(true);
    server_->set_default_headers({{"Cache-Control", "no-store"},
                                  {"X-Content-Type-Options", "nosniff"},
                                  {"Cross-Origin-Resource-Policy", "same-origin"},
                                  {"Referrer-Policy", "no-referrer"}});
    server_->set_pre_routing_handler([](const Request& request, Response& response) {
        return Refused(request, response) ? httplib::Server::HandlerResponse::Handled
                                          : httplib::Server::HandlerResponse::Unhandled;
    });
    server_->set_exception_handler([](const Request&, Response& response, const std::exception_ptr& thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const std::exception& error) {
            Answer(response, 500, error.what());
        }
    });
    server_->set_error_handler([](const Request&, Response& response) {
        if (response.body.empty()) Answer(response, response.status, Reason(response.status));
    });
    AddRoutes();
    AddPanelFiles();
    AddMedia();
}

PanelServer::~PanelServer() {
    Stop();
}

bool PanelServer::Bind(int port, std::string& error) {
    errno = 0;
    port_ = port == 0 ? server_->bind_to_any_port(kAddress) : server_->bind_to_port(kAddress, port) ? port : -1;
    if (port_ > 0) return true;
    error = "port " + std::to_string(port) + " of " + kAddress + ": " +
            (errno != 0 ? std::strerror(errno) : "cannot be listened on");
    return false;
}

void PanelServer::Start() {
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // Stop has no effect on a server that does not listen yet.
    while (!server_->is_running())
        std::this_thread::yield();
}

void PanelServer::Stop() {
    if (!thread_.joinable()) return;
    live_view_.Close();
    server_->stop();
    server_->ShutConnections();
    thread_.join();
}

void PanelServer::Get(const std::string& pattern, Handler handler) {
    server_->Get(pattern, std::move(handler));
    const bool settable = pattern == "/board";
    const Handler refuse = [settable](const Request&, Response& response) {
        response.set_header("Allow", settable ? "GET, HEAD, PATCH" : "GET, HEAD");
        Answer(response, 405, settable ? "this wants GET or PATCH" : "this can only be read");
    };
    server_->Post(pattern, WithoutBody(refuse));
    server_->Put(pattern, WithoutBody(refuse));
    server_->Delete(pattern, WithoutBody(refuse));
    if (!settable) server_->Patch(pattern, WithoutBody(refuse));
}

void PanelServer::Post(const std::string& pattern, Handler handler) {
    server_->Post(pattern, WithoutBody(std::move(handler)));
    const Handler refuse = [](const Request&, Response& response) {
        response.set_header("Allow", "POST");
        Answer(response, 405, "this wants POST");
    };
    server_->Get(pattern, refuse);
    server_->Put(pattern, WithoutBody(refuse));
    server_->Delete(pattern, WithoutBody(refuse));
    server_->Patch(pattern, WithoutBody(refuse));
}

void PanelServer::AddRoutes() {
    Get("/lcd\\.png",
        [this](const Request&, Response& response) { response.set_content(*live_view_.Png(), "image/png"); });
    Get("/lcd\\.mjpeg", [this](const Request&, Response& response) { Stream(response); });
    Post("/keys/([^/]+)",
         [this](const Request& request, Response& response) { PressKey(request.matches[1].str(), response); });
    Get("/board", [this](const Request&, Response& response) {
        response.set_content(state_.Read().dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
    });
    server_->Patch("/board", [this](const Request& request, Response& response, const httplib::ContentReader& reader) {
        std::string body;
        const auto append = [&body](const char* data, std::size_t length) {
            body.append(data, length);
            return true;
        };
        if (request.has_header("Content-Length") && !reader(append)) return;
        ChangeState(body, response);
    });
    Get("/log", [this](const Request& request, Response& response) { SendLog(request, response); });
    Post("/program/restart", [this](const Request&, Response& response) {
        if (program_.Restart()) {
            response.status = 204;
        } else {
            Answer(response, 503, "the board is being shut down");
        }
    });
}

void PanelServer::AddPanelFiles() {
    for (const PanelFile& file : PanelFiles()) {
        const Handler send = [&file](const Request&, Response& response) {
            response.set_header(
                "Content-Security-Policy",
                "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
                "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
            response.set_content(file.content.data(), file.content.size(), std::string(file.type));
        };
        Get(file.name == "index.html" ? "/" : "/" + std::string(file.name), send);
    }
}

void PanelServer::AddMedia() {
    for (const auto& [name, medium] : {std::pair{"card", Medium::Card}, std::pair{"nand", Medium::Nand}}) {
        const std::string route = std::string("/files/") + name;
        Get(route, [this, medium = medium](const Request&, Response& response) { SendFileList(medium, response); });
        Get(route + "/(.+)", [this, medium = medium](const Request& request, Response& response) {
            SendFile(medium, request.matches[1].str(), response);
        });
    }
}

void PanelServer::Stream(Response& response) {
    if (++streams_ > kMaxStreams) {
        --streams_;
        Answer(response, 503, "too many look at the live picture already");
        return;
    }
    const auto send = [this, seen = std::uint64_t{0}](std::size_t, httplib::DataSink& sink) mutable {
        const LiveView::Frame frame = live_view_.Next(seen);
        if (!frame.jpeg) {
            sink.done();
            return true;
        }
        seen = frame.number;
        const std::string head = std::string("--") + kBoundary + "\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                                 std::to_string(frame.jpeg->size()) + "\r\n\r\n";
        return sink.write(head.data(), head.size()) && sink.write(frame.jpeg->data(), frame.jpeg->size()) &&
               sink.write("\r\n", 2);
    };
    response.set_content_provider(std::string("multipart/x-mixed-replace; boundary=") + kBoundary, send,
                                  [this](bool) { --streams_; });
}

void PanelServer::PressKey(const std::string& name, Response& response) {
    for (const KeyName& key : kKeys) {
        if (key.name != name) continue;
        // A full ring loses the key, as the keypad's does.
        PushKey(block_, key.virtual_key, static_cast<int>(mwin::KeyEvent::Kind::Press));
        PushKey(block_, key.virtual_key, static_cast<int>(mwin::KeyEvent::Kind::Release));
        eventfd_write(keys_, 1);
        response.status = 204;
        return;
    }
    Answer(response, 404, "there is no such key");
}

void PanelServer::ChangeState(const std::string& body, Response& response) {
    const json changes = json::parse(body, nullptr, false);
    if (changes.is_discarded()) {
        Answer(response, 400, "the body is no JSON");
        return;
    }
    if (const auto reason = state_.Change(changes)) {
        Answer(response, 400, *reason);
        return;
    }
    response.status = 204;
}

void PanelServer::SendLog(const Request& request, Response& response) const {
    std::uint64_t from = 0;
    if (request.has_param("from")) {
        const std::string text = request.get_param_value("from");
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), from);
        if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
            Answer(response, 400, "from: wants a whole number");
            return;
        }
    }
    const ProgramLog::Part part = program_.Log().From(from);
    response.set_header("Log-First", std::to_string(part.first));
    response.set_header("Log-Next", std::to_string(part.next));
    response.set_content(part.text, kPlainText);
}

bool PanelServer::Present(Medium medium) const {
    const BlockLock lock(block_);
    return (block_.*BoardFolder::StateOf(medium)).present;
}

void PanelServer::SendFileList(Medium medium, Response& response) const {
    if (!Present(medium)) {
        Answer(response, 404, "there is no such medium now");
        return;
    }
    json list = json::array();
    for (const MediumFile& file : ListFiles(folder_.MediumDirectory(medium))) {
        list.push_back({{"path", file.path}, {"bytes", file.bytes}, {"modified", file.modified}});
    }
    response.set_content(list.dump(-1, ' ', false, json::error_handler_t::replace), "application/json");
}

void PanelServer::SendFile(Medium medium, const std::string& path, Response& response) const {
    auto file = std::make_shared<mwin::FileDescriptor>();
    if (Present(medium)) *file = OpenFile(folder_.MediumDirectory(medium), path);
    struct stat status {};
    if (!file->IsValid() || fstat(file->Get(), &status) < 0) {
        Answer(response, 404, "there is no such file");
        return;
    }
    // What lies on a medium is shown, never run.
    response.set_header("Content-Security-Policy", "sandbox; default-src 'none'");
    if (status.st_size == 0) {
        response.set_content("", FileType(path));
        return;
    }
    response.set_content_provider(static_cast<std::size_t>(status.st_size), FileType(path),
                                  [file](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                      std::string chunk(std::min(length, kFileChunk), '\0');
                                      const ssize_t got =
                                          pread(file->Get(), chunk.data(), chunk.size(), static_cast<off_t>(offset));
                                      return got > 0 && sink.write(chunk.data(), static_cast<std::size_t>(got));
                                  });
}

}  // namespace board
