#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>
#include <string>

#include "siblings/core/allocation_failure.h"
#include "tests/reliability/stage.h"

using namespace zeb::reliability;

namespace {

enum class End { returned, threw };

/// Runs with a shortage and gives its memory back. Whatever the call took from `Core` has to be released.
End run_short_of(void (*starve)(int), int granted, const Operation& operation, Stage& stage) {
  const int blocks = zeb::mem::detail::live_blocks();
  End end = End::returned;
  starve(granted);
  try {
    operation.run(stage.call());
  } catch (const std::bad_alloc&) {
    end = End::threw;
  }
  end_shortages();
  EXPECT_EQ(zeb::mem::detail::live_blocks(), blocks) << operation << " leaks";
  return end;
}

/// Lets the 1st, 2nd, ... allocation and all after it fail until there are enough, and returns how many were needed.
int walk(void (*starve)(int), const Operation& operation, const Outcome& whole) {
  for (int granted = 0; granted < 1000; ++granted) {
    Stage stage;
    const auto before = stage.images();
    const End end = run_short_of(starve, granted, operation, stage);
    if (end == End::returned && stage.outcome() == whole) return granted;

    const bool outline = operation.shortage == Shortage::gives_up_but_for_outlines && starve == starve_new;
    const bool part_done = operation.shortage == Shortage::throws_part_done || outline;
    const End expected = part_done || operation.shortage == Shortage::throws ? End::threw : End::returned;
    const bool untouched = part_done || stage.images() == before;
    const bool as_stated = end == End::threw || stage.outcome().same_notes(operation.given_up);
    if (end == expected && untouched && as_stated) continue;
    ADD_FAILURE() << operation << ", " << (starve == starve_core ? "Core" : "new") << ", " << granted
                  << " allocations granted: " << (end == End::threw ? "threw" : "returned")
                  << (untouched ? "" : ", wrote into an image") << ", gave "
                  << ::testing::PrintToString(stage.call().notes);
    return -1;
  }
  ADD_FAILURE() << operation << " never has enough";
  return -1;
}

TEST(Shortage, EveryFunctionGivesUpAsStatedAtEachOfItsAllocations) {
  if (!can_starve_new()) GTEST_SKIP() << "the thread checker has operators of its own";
  for (const Operation& operation : catalogue()) {
    Stage plenty;
    operation.run(plenty.call());
    const int needed = walk(starve_core, operation, plenty.outcome()) + walk(starve_new, operation, plenty.outcome());
    if (operation.shortage == Shortage::allocates_nothing)
      EXPECT_EQ(needed, 0) << operation;
    else
      EXPECT_GT(needed, 0) << operation << " does not allocate";
  }
}

/// The lists of exports name the same functions, so that none is forgotten here.
TEST(Catalogue, HoldsEveryExportedFunction) {
  std::set<std::string> entered;
  const auto without_namespace = [](std::string name) {
    for (const std::string prefix : {"zeb::", "::", "test::"})
      if (name.rfind(prefix, 0) == 0) name.erase(0, prefix.size());
    return name;
  };
  for (const Operation& operation : catalogue()) entered.insert(without_namespace(operation.function));
  // Members that compute nothing; tests/shapes has them.
  const std::set<std::string> trivial_members{"minimum_enclosing_rectangle"};

  int exported = 0;
  for (const auto& list : std::filesystem::directory_iterator(ZEB_EXPORT_LISTS)) {
    if (list.path().extension() != ".txt") continue;
    std::ifstream lines(list.path());
    for (std::string line; std::getline(lines, line);) {
      const bool member = line.find("Shape::") != std::string::npos || line.find("invalid_chain_code") == 0;
      if (member) continue;
      std::string name = line.substr(0, line.find('('));
      if (const auto result = name.rfind("> zeb::"); result != std::string::npos) name.erase(0, result + 2);
      ++exported;
      EXPECT_EQ(entered.count(without_namespace(name)), 1U) << line;
    }
  }
  EXPECT_GE(exported, 200);
}

}  // namespace
