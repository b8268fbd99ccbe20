#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <thread>
#include <vector>

#include "tests/reliability/stage.h"

using namespace zeb::reliability;

namespace {

constexpr std::size_t threads = 8;

/// The whole catalogue but for what draws from the process's generator, each entry on images of its own; `first` is
/// where the round begins, so that threads do different things at a time.
std::vector<Outcome> round_trip(std::size_t first) {
  const auto& operations = catalogue();
  std::vector<Outcome> outcomes(operations.size());
  for (std::size_t k = 0; k < operations.size(); ++k) {
    const std::size_t i = (first + k) % operations.size();
    if ((operations[i].traits & draws_random) != 0) continue;
    Stage stage;
    operations[i].run(stage.call());
    outcomes[i] = stage.outcome();
  }
  return outcomes;
}

// The threads come first: what is made at its first use is made by them.
TEST(Threads, EightAtATimeGetWhatOneGets) {
  std::array<std::vector<Outcome>, threads> together;
  std::vector<std::thread> running;
  for (std::size_t t = 0; t < threads; ++t)
    running.emplace_back([&together, t] {
      // Pairs of threads begin at the same function.
      together[t] = round_trip(t / 2 * catalogue().size() / (threads / 2));
    });
  for (std::thread& thread : running) thread.join();

  const std::vector<Outcome> alone = round_trip(0);
  for (std::size_t t = 0; t < threads; ++t)
    for (std::size_t i = 0; i < alone.size(); ++i)
      EXPECT_TRUE(together[t][i] == alone[i]) << catalogue()[i] << ", thread " << t;
}

}  // namespace
