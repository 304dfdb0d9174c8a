// A small tour of the library: counted objects shared between threads, a semaphore
// that signals finished work, hash ids and the error table.
#include <norvane/NorvaneCore.h>

#include <cstdio>
#include <thread>
#include <vector>

namespace {

struct Job : norvane::TQObjectBase {
  explicit Job(int n) : number(n) {}
  int number;
  int result = 0;
};

}  // namespace

int main() {
  std::printf("libNorvaneCore %s\n", TQ_GetLibVersion());

  std::vector<norvane::TQRef<Job>> jobs;
  for (int i = 1; i <= 8; ++i) jobs.push_back(new Job(i));

  norvane::TQSemaphore done(0);
  std::vector<std::thread> workers;
  for (int w = 0; w < 2; ++w) {
    workers.emplace_back([&jobs, &done, w] {
      for (size_t i = static_cast<size_t>(w); i < jobs.size(); i += 2) {
        norvane::TQRef<Job> job = jobs[i];  // the worker holds its own reference
        job->result = job->number * job->number;
        done.Produce();
      }
    });
  }
  for (size_t i = 0; i < jobs.size(); ++i) done.Consume();
  for (auto& worker : workers) worker.join();

  int sum = 0;
  for (const auto& job : jobs) sum += job->result;
  std::printf("8 jobs finished on 2 threads, sum of squares %d\n", sum);

  const char text[] = "region (0,0) (10,0) (10,10) (0,10)";
  norvane::TQRef<norvane::TQArray<char>> hash =
      norvane::TQHashAlgorithm::GenerateHash(text, sizeof(text) - 1);
  std::printf("hash id of \"%s\": %s\n", text, hash->GetData());
  std::printf("error %d: %s\n", EC_TIMEOUT, TC_GetErrorString(EC_TIMEOUT));
  return sum == 204 ? 0 : 1;
}
