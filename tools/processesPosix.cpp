// SPDX-License-Identifier: MIT
// processes.h for Linux and its relatives: a process for each file.
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <map>

#include "processes.h"
#include "report.h"

namespace jpgtool {
namespace {

volatile std::sig_atomic_t stopSignal = 0;

void onStop(int signal) { stopSignal = signal; }

struct Process {
  size_t item = 0;
  pid_t pid = -1;
  int errors = -1;  // its standard error, read end
};

class Batch {
 public:
  Batch(const std::vector<BatchItem> &items, const std::function<int(const BatchItem &)> &work)
      : items_(items), work_(work), said_(items.size()) {
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    sigprocmask(SIG_BLOCK, &held, &before_);  // delivered only while waiting
    struct sigaction action = {};
    action.sa_handler = onStop;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
  }
  ~Batch() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  Batch(const Batch &) = delete;
  Batch &operator=(const Batch &) = delete;

  int run(size_t jobs, Progress *progress) {
    size_t next = 0, done = 0;
    while (done < items_.size() && stopSignal == 0) {
      for (; next < items_.size() && running_.size() < jobs; next++) {
        if (start(next)) continue;
        if (!running_.empty()) break;  // perhaps when one has ended
        note(next, kExitFailed);
        done++;
      }
      wait();
      done += collect();
      progress->update(done, items_.size());
    }
    if (stopSignal == 0) return worst();
    for (const Process &process : running_) kill(process.pid, SIGTERM);
    while (!running_.empty()) {
      drain(&running_.back());
      reap(running_.back());
      running_.pop_back();
    }
    _exit(128 + stopSignal);
  }

  void printErrors() const {
    for (const std::string &text : said_) std::fputs(text.c_str(), stderr);
    if (failed_ + damaged_ != 0) reportBatch(items_.size(), failed_, damaged_);
  }

 private:
  bool start(size_t item) {
    int ends[2];
    if (pipe(ends) != 0) return false;
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) work(item, ends);
    close(ends[1]);
    if (pid < 0) {
      close(ends[0]);
      return false;
    }
    running_.push_back({item, pid, ends[0]});
    return true;
  }

  // Runs in the new process: its errors go to the pipe, its signal mask is restored.
  [[noreturn]] void work(size_t item, const int (&ends)[2]) {
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
    const int status = work_(items_[item]);
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(status);
  }

  // Waits until a process prints something or ends, or a signal arrives.
  void wait() {
    std::vector<pollfd> ends(running_.size());
    for (size_t i = 0; i < running_.size(); i++) ends[i] = {running_[i].errors, POLLIN, 0};
    if (!ends.empty() && ppoll(ends.data(), ends.size(), nullptr, &before_) > 0) {
      for (size_t i = 0; i < ends.size(); i++) ready_[running_[i].pid] = ends[i].revents != 0;
    }
  }

  // Reads the output of the processes. Returns how many have ended.
  size_t collect() {
    size_t ended = 0;
    for (size_t i = 0; i < running_.size();) {
      const bool over = ready_[running_[i].pid] && !readSome(&running_[i]);
      ready_[running_[i].pid] = false;
      if (!over) {
        i++;
        continue;
      }
      reap(running_[i]);
      running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
      ended++;
    }
    return ended;
  }

  // False at the end of its output.
  bool readSome(Process *process) {
    char buffer[512];
    const ssize_t n = read(process->errors, buffer, sizeof(buffer));
    if (n > 0) said_[process->item].append(buffer, static_cast<size_t>(n));
    return n > 0 || (n < 0 && errno == EINTR);
  }

  void drain(Process *process) {
    while (readSome(process)) {
    }
  }

  void reap(const Process &process) {
    close(process.errors);
    int status = 0;
    while (waitpid(process.pid, &status, 0) < 0 && errno == EINTR) {
    }
    ready_.erase(process.pid);
    if (WIFEXITED(status)) {
      note(process.item, WEXITSTATUS(status));
      return;
    }
    said_[process.item] += "jpgtool: " + items_[process.item].in + ": stopped by signal " +
                           std::to_string(WTERMSIG(status)) + "\n";
    note(process.item, kExitFailed);
  }

  void note(size_t item, int status) {
    if (status == kExitDamaged) damaged_++;
    if (status == kExitOk || status == kExitDamaged) return;
    failed_++;
    if (said_[item].empty()) said_[item] = "jpgtool: " + items_[item].in + ": failed\n";
  }

  int worst() const { return failed_ != 0 ? kExitFailed : damaged_ != 0 ? kExitDamaged : kExitOk; }

  const std::vector<BatchItem> &items_;
  const std::function<int(const BatchItem &)> &work_;
  std::vector<std::string> said_;  // error output, by item
  std::vector<Process> running_;
  std::map<pid_t, bool> ready_;  // has output to read, or has closed it
  sigset_t before_;
  size_t failed_ = 0, damaged_ = 0;
};

}  // namespace

int runProcesses(const std::string &what, const std::vector<BatchItem> &items, long jobs,
                 const std::function<int(const BatchItem &)> &work) {
  Batch batch(items, work);
  int status = kExitOk;
  {
    Progress progress(what + " " + std::to_string(items.size()) + " files");
    status = batch.run(static_cast<size_t>(jobs), &progress);
  }
  batch.printErrors();
  return status;
}

}  // namespace jpgtool
