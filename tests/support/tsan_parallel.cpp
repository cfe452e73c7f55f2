// SPDX-License-Identifier: MIT
// Linked into every test under ThreadSanitizer: OpenCV's parallel_for_ runs on plain std::threads
// instead of Debian's TBB, whose uninstrumented scheduler hides the ordering between a band's
// writes and the caller's reads, so TSan would report every band-parallel invoker as a race.
#include <thread>
#include <vector>

#include <opencv2/core/parallel/parallel_backend.hpp>

namespace {

thread_local int t_index = 0;

class StdThreadsBackend : public cv::parallel::ParallelForAPI {
 public:
  void parallel_for(int tasks, FN_parallel_for_body_cb_t body, void* data) override {
    // Tasks are dealt out in a fixed order rather than taken as threads come: otherwise the
    // first thread can finish every band before the others start, and TSan sees no pair to check.
    const int count = threads_;
    auto work = [&](int index) {
      t_index = index;
      for (int task = index; task < tasks; task += count) body(task, task + 1, data);
    };
    std::vector<std::thread> workers;
    for (int i = 1; i < count; ++i) workers.emplace_back(work, i);
    work(0);
    for (std::thread& worker : workers) worker.join();
  }
  int getThreadNum() const override { return t_index; }
  int getNumThreads() const override { return threads_; }
  int setNumThreads(int count) override {
    const int old = threads_;
    // OpenCV passes 0 or less for "the default"; four bands are enough to interleave.
    threads_ = count > 0 ? count : 4;
    return old;
  }
  const char* getName() const override { return "std::thread"; }

 private:
  int threads_ = 4;
};

const bool installed = [] {
  cv::parallel::setParallelForBackend(std::make_shared<StdThreadsBackend>());
  return true;
}();

}  // namespace
