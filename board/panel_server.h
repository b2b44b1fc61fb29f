// The web panel and the HTTP interface of the board.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "board/block.h"
#include "board/board_folder.h"
#include "board/board_state.h"
#include "board/live_view.h"
#include "board/program_process.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace board {

// Listens on 127.0.0.1 only, and answers no request that a page from elsewhere may have caused. One thread, which has
// to have SIGCHLD, SIGINT and SIGTERM blocked before Start: the server's own threads inherit that.
class PanelServer {
  public:
    // Nothing is owned; `keys` is the eventfd that wakes the program for a key.
    PanelServer(Block& block, int keys, BoardFolder& folder, BoardState& state, ProgramProcess& program);
    ~PanelServer();
    PanelServer(const PanelServer&) = delete;
    PanelServer& operator=(const PanelServer&) = delete;

    // Takes a port (0: any free one). False, with the reason, when that is not possible.
    bool Bind(int port, std::string& error);
    int Port() const { return port_; }
    // Answers requests from now on, on threads of its own.
    void Start();
    // Ends every stream and request.
    void Stop();

  private:
    class Listener;
    using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;

    void AddRoutes();
    void AddPanelFiles();
    void AddMedia();
    void Get(const std::string& pattern, Handler handler);
    void Post(const std::string& pattern, Handler handler);

    void Stream(httplib::Response& response);
    void PressKey(const std::string& name, httplib::Response& response);
    void ChangeState(const std::string& body, httplib::Response& response);
    void SendLog(const httplib::Request& request, httplib::Response& response) const;
    bool Present(Medium medium) const;
    void SendFileList(Medium medium, httplib::Response& response) const;
    void SendFile(Medium medium, const std::string& path, httplib::Response& response) const;

    Block& block_;
    const int keys_;
    BoardFolder& folder_;
    BoardState& state_;
    ProgramProcess& program_;
    LiveView live_view_;
    std::atomic<int> streams_{0};
    std::unique_ptr<Listener> server_;
    std::thread thread_;
    int port_ = 0;
};

}  // namespace board
