// Programs, above all tarnlite, as processes of their own, which are killed when the test is done with them.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A folder of its own, removed with everything in it.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

class Program {
  public:
    // With a limit of its open files and sockets; 0 leaves it as it is.
    explicit Program(const std::vector<std::string>& command, unsigned long descriptors = 0);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // The next line of its standard output, empty at the output's end, and all the lines that are left.
    // Throws std::runtime_error when none comes for 60 s.
    std::string line();
    std::string rest();
    // What it wrote to standard error so far.
    std::string errors() const;
    void signal(int number) const;
    // Its exit status, 128 more than the number of a signal that killed it; nothing when it does not end in
    // time.
    std::optional<int> wait(std::chrono::milliseconds time = std::chrono::seconds(60));
    std::chrono::milliseconds processor_time() const;

  private:
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    pid_t id_ = 0;
    int descriptor_ = -1;
    int output_ = -1;
    std::unique_ptr<std::FILE, FileCloser> errors_;
    bool ended_ = false;
};

// A tarnlite, which listens when the constructor returns.
class ServerProcess : public Program {
  public:
    explicit ServerProcess(std::vector<std::string> options = {}, unsigned long descriptors = 0);
    std::uint16_t port() const { return port_; }
    // Returns when its threads have taken that much more of the processor.
    void await_work(std::chrono::milliseconds work) const;

  private:
    std::uint16_t port_ = 0;
};
