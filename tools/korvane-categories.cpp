// Puts categories from a category file into the trap store, or all of the store into a file: for an
// installation, which begins with the starter categories, and for scripts.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "categories/CategoryCopies.h"
#include "categories/CategoryTransaction.h"
#include "common/Text.h"
#include "platform/Files.h"
#include "store/Connection.h"
#include "store/DatabaseError.h"
#include "store/Tables.h"

namespace {

using namespace korvane;

constexpr std::string_view kUsage =
    "Puts the categories of a file into the trap store, so that traps get their severities.\n"
    "\n"
    "usage: korvane-categories [--add | --replace] [FILE]\n"
    "       korvane-categories --check [FILE]\n"
    "       korvane-categories --export FILE\n"
    "       korvane-categories [--help | --version]\n"
    "  --add      also into a store that has categories: those whose name it does not have\n"
    "  --replace  the same, and those whose name it has are replaced\n"
    "  --check    read the file and say what is in it; store nothing\n"
    "  --export   write all categories of the store into the file\n"
    "\n"
    "Without an option a store that has categories is left alone. The file is by default the one of the\n"
    "starter categories, which grade the standard notifications. The store is the data source \"dvldb\".\n"
    "Exit status: 0 done, or nothing was to be done; 1 it failed, and nothing was changed; 2 wrong call.\n";

constexpr std::string_view kHasSome = "The store has its categories already; nothing was changed.\n";

enum class Task { Begin, Add, Replace, Check, Export };

struct Call {
  Task What = Task::Begin;
  std::string File;
};

std::string StarterFile() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path shared = self.parent_path().parent_path() / "share" / "korvane";
  return platform::TextOf(shared / "data" / "starter-categories.dvcat");
}

std::string CountsText(const std::vector<categories::OfferedCategory>& offered, bool chosenOnly) {
  std::size_t count = 0;
  std::size_t traps = 0;
  for (const categories::OfferedCategory& each : offered) {
    if (each.Chosen || !chosenOnly) {
      ++count;
      traps += each.Category.Details.Traps.size();
    }
  }
  return fmt::format("{} {} with {} {}", count, count == 1 ? "category" : "categories", traps,
                     traps == 1 ? "trap" : "traps");
}

// Calls for the categories of the file; what is wrong with it is said with its name.
std::vector<categories::OfferedCategory> Reading(const std::string& file, const auto& read) {
  try {
    return read();
  } catch (const store::DatabaseError&) {
    throw;
  } catch (const std::exception& error) {
    throw std::runtime_error(fmt::format("{}: {}", file, error.what()));
  }
}

void Store(store::Connection& connection, const Call& call) {
  std::vector<categories::OfferedCategory> offered =
      Reading(call.File, [&] { return categories::CategoriesOfFile(call.File, connection); });
  const auto hasSome = [&] {
    return call.What == Task::Begin && !categories::CategoriesOfStore(connection).empty();
  };
  for (categories::OfferedCategory& each : offered) {
    each.Chosen = each.Chosen || call.What == Task::Replace;
  }
  if (hasSome() || std::ranges::none_of(offered, &categories::OfferedCategory::Chosen)) {
    fmt::print("{}", kHasSome);
    return;
  }
  try {
    categories::StoreChosen(offered, connection);
  } catch (const store::DatabaseError&) {
    if (!hasSome()) {
      throw;
    }
    fmt::print("{}", kHasSome);  // by another one that was started at the same time
    return;
  }
  fmt::print("Stored {}.\n", CountsText(offered, true));
}

void Export(store::Connection& connection, const std::string& file) {
  const std::vector<categories::OfferedCategory> offered = categories::CategoriesOfStore(connection);
  if (const std::string failure = categories::WriteChosen(offered, file); !failure.empty()) {
    throw std::runtime_error(fmt::format("{}: {}", file, failure));
  }
  fmt::print("Wrote {} to {}.\n", CountsText(offered, true), VisibleText(file));
}

void Run(const Call& call) {
  if (call.What == Task::Check) {
    const std::vector<categories::OfferedCategory> offered =
        Reading(call.File, [&] { return categories::CategoriesOfFile(call.File); });
    fmt::print("{}: {}, no fault\n", VisibleText(call.File), CountsText(offered, false));
    return;
  }
  store::Connection connection;
  try {
    connection.Open(store::kDataSourceName, {}, {}, categories::kCategoryTimeouts);
  } catch (const store::DatabaseError& failure) {
    throw std::runtime_error(fmt::format("the trap store can't be opened: {}", failure.what()));
  }
  if (call.What == Task::Export) {
    Export(connection, call.File);
  } else {
    Store(connection, call);
  }
}

int WrongCall() {
  fmt::print(stderr, "{}", kUsage);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Call call;
  for (const std::string_view argument : std::vector<std::string_view>(argv + 1, argv + argc)) {
    const bool first = call.What == Task::Begin && call.File.empty();
    if (argument == "--help") {
      fmt::print("{}", kUsage);
      return 0;
    }
    if (argument == "--version") {
      fmt::print("korvane-categories {}\n", KORVANE_VERSION);
      return 0;
    }
    if (first && argument == "--add") {
      call.What = Task::Add;
    } else if (first && argument == "--replace") {
      call.What = Task::Replace;
    } else if (first && argument == "--check") {
      call.What = Task::Check;
    } else if (first && argument == "--export") {
      call.What = Task::Export;
    } else if (call.File.empty() && !argument.empty() && !argument.starts_with("-")) {
      call.File = argument;
    } else {
      return WrongCall();
    }
  }
  if (call.File.empty()) {
    if (call.What == Task::Export) {
      return WrongCall();
    }
    call.File = StarterFile();
  }
  try {
    Run(call);
  } catch (const std::exception& error) {
    std::fflush(stdout);
    fmt::print(stderr, "korvane-categories: {}\n", VisibleText(error.what()));
    return 1;
  }
  return 0;
}
