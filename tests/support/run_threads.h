#pragma once

#include <thread>
#include <vector>

// Runs `work(i)` on `count` threads at once. Returns when all have ended.
template <class Work>
void RunThreads(int count, const Work& work) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(work, i);
  }
}
