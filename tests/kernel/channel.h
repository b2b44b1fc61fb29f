// A byte stream between the test and its virtual machine.
#pragma once

#include <cstddef>
#include <string>

namespace kernel_test {

// One thread. The other side's end, its silence for two minutes and its refusal throw std::runtime_error.
class Channel {
  public:
    // Makes a pair of sockets, of which the other one is handed to the machine.
    Channel();
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    // The machine's end; open until ReleaseOtherEnd, which the parent calls once the machine runs.
    int OtherEnd() const { return other_end_; }
    void ReleaseOtherEnd();

    // Sends all of it.
    void Write(const std::string& text) const;
    // Up to the next line feed, which is left out.
    std::string Line();
    // Exactly so many.
    std::string Bytes(std::size_t count);

  private:
    void Fill();

    int fd_ = -1;
    int other_end_ = -1;
    std::string waiting_;
};

}  // namespace kernel_test
