// Programs started by the tests. Every wait has a deadline, and a child never outlives the test that started it.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

constexpr std::chrono::seconds child_deadline{60};

// A folder of its own, removed with everything in it.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::filesystem::path operator/(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

class ChildProcess {
  public:
    // Starts a program whose standard output goes to a file; throws std::runtime_error when it cannot.
    ChildProcess(const std::vector<std::string>& command, const std::filesystem::path& output);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void signal(int number) const;
    // The status as waitpid gives it; nothing when the deadline passes first.
    std::optional<int> wait();
    // Readable once the process has ended.
    int descriptor() const { return descriptor_; }

  private:
    pid_t id_;
    int descriptor_;
    bool ended_ = false;
};
