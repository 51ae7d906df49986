// SPDX-License-Identifier: MIT
// Decodes files on several threads at once, each with a handle of its own, in C++:
// threads IN.jpg...
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#include "jpg.hpp"

namespace {

struct Job {
  const char *name = nullptr;
  jpg::Status status;
  uint64_t sum = 0;  // of all samples
};

// A handle may be used by one thread at a time; handles share nothing.
void decode(Job *job) {
  jpg::Result<jpg::Reader> reader = jpg::Reader::file(job->name);
  if (!reader) return void(job->status = reader.status());
  const jpg::Result<jpg::Picture> picture = reader->decode();
  job->status = picture.status();
  for (const uint8_t sample : picture->samples()) job->sum += sample;
}

void work(std::vector<Job> *jobs, std::atomic<size_t> *next) {
  for (size_t i = (*next)++; i < jobs->size(); i = (*next)++) decode(&(*jobs)[i]);
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<Job> jobs(static_cast<size_t>(argc > 0 ? argc - 1 : 0));
  for (size_t i = 0; i < jobs.size(); i++) jobs[i].name = argv[i + 1];
  std::atomic<size_t> next = 0;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < 4; i++) threads.emplace_back(work, &jobs, &next);
  for (std::thread &thread : threads) thread.join();
  int failed = 0;
  for (const Job &job : jobs) {
    std::printf("%s: %s, %llu\n", job.name, job.status.text(),
                static_cast<unsigned long long>(job.sum));
    if (!job.status) failed = 1;
  }
  return failed;
}
