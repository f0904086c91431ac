// Records what SQLite writes and syncs while a store changes, and opens the store as a power failure after
// each of these operations would leave it.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include <sqlite3.h>

#include "permissions/private_file.h"
#include "softtoken/store/store.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/store/temporary_folder.h"
#include "softtoken/tests/support/recorded_files.h"

namespace velm::token {
namespace {

constexpr char kStoreName[] = "store.db";
constexpr char kNone[] = "no store";

// Everything that the changes below can change, as text.
std::string state_of(Store& store) {
  constexpr const char* kQueries[] = {
      "SELECT name || tries_left || hex(salt) || hex(signing_key) FROM container ORDER BY id",
      "SELECT container || ' ' || position || hex(data) FROM user_file ORDER BY container, position",
      "SELECT name || type || hex(data) FROM label ORDER BY name, type",
      "SELECT kind || hex(certificate) || hex(key) FROM authority ORDER BY kind",
  };
  std::string state;
  for (const char* query : kQueries) {
    Statement rows(store.database(), query);
    while (rows.step()) state += rows.text(0) + "\n";
    state += "\n";
  }
  return state;
}

std::string state_of(const std::filesystem::path& file) {
  if (!Store::exists(file)) return kNone;
  Store store(file);
  Statement damage(store.database(), "PRAGMA integrity_check");
  damage.step();
  if (damage.text(0) != "ok") return "damaged: " + damage.text(0);
  if (Statement(store.database(), "PRAGMA foreign_key_check").step()) return "rows without their container";
  return state_of(store);
}

ContainerRow row_of(const std::string& name, uint8_t seed) {
  const auto bytes = [&](size_t size) { return Bytes(size, seed); };
  return {0, name, 10, bytes(16), bytes(200), bytes(200), bytes(900), bytes(900)};
}

using Change = std::function<void(Store&)>;

// Each is one transaction. A large file and a deletion make the log longer and pages free.
std::vector<Change> changes() {
  std::vector<Change> all{
      [](Store& store) { store.make(); },
      [](Store& store) { store.add_container(row_of("A", 1)); },
      [](Store& store) { store.add_container(row_of("B", 2)); },
      [](Store& store) { store.take_pin_try(store.container("A")); },
      [](Store& store) { store.take_pin_try(store.container("A")); },
      [](Store& store) { store.return_pin_tries(store.container("A")); },
      [](Store& store) { write_user_file(store, 2, 1, 1, 0, Bytes(40000, 'f')); },
      [](Store& store) {
        ContainerRow row = store.container("A");
        const Bytes old_salt = std::exchange(row.salt, Bytes(16, 3));
        row.signing_key = Bytes(200, 3);
        store.replace_keys(row, old_salt);
      },
      [](Store& store) { set_label(store, "L", 7, Bytes(3000, 'l')); },
      [](Store& store) { store.delete_container(2); },
      [](Store& store) { store.take_pin_try(store.container("A")); },
      [](Store& store) { store.reset_pin_retries(1); },
  };
  return all;
}

/** The operations of all changes, and the state before the first and after each. */
struct Recording {
  std::vector<FileOperation> operations;
  std::vector<std::string> states{kNone};
};

Recording record(const std::function<void(Store&)>& prepare) {
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / kStoreName;
  Recording recording;
  permissions::create_private_file(file);
  RecordedFiles recorded;
  {
    Store store(file, Store::New());
    prepare(store);
    for (const Change& change : changes()) {
      change(store);
      recorded.mark();
      recording.states.push_back(state_of(store));
    }
  }
  recording.operations = recorded.operations();
  return recording;
}

std::string state_after_crash(const FilesAfterCrash::Files& files) {
  const TemporaryFolder folder;
  permissions::create_private_file(folder.path() / kStoreName);
  for (const auto& [name, content] : files) {
    permissions::create_private_file(folder.path() / name);
    std::ofstream(folder.path() / name, std::ios::binary) << as_text(content);
  }
  try {
    return state_of(folder.path() / kStoreName);
  } catch (const std::exception& error) {
    return error.what();
  }
}

struct Outcome {
  int checked = 0;
  std::vector<std::string> faults;
};

// Opens the store after each operation, in each combination of surviving writes.
Outcome open_after_each(const Recording& recording) {
  constexpr FilesAfterCrash::Survivors kSurvivors[] = {
      {true, true}, {false, false}, {true, false}, {false, true}};
  Outcome outcome;
  FilesAfterCrash crash;
  size_t done = 0;
  FilesAfterCrash::Files before[std::size(kSurvivors)];
  for (size_t step = 0; step < recording.operations.size(); ++step) {
    const FileOperation& operation = recording.operations[step];
    const bool is_mark = operation.kind == FileOperation::Kind::mark;
    done += is_mark ? 1 : 0;
    crash.apply(operation);
    for (size_t i = 0; i < std::size(kSurvivors); ++i) {
      FilesAfterCrash::Files files = crash.files(kStoreName, kSurvivors[i]);
      if (!is_mark && files == before[i]) continue;
      before[i] = std::move(files);
      ++outcome.checked;
      const std::string state = state_after_crash(before[i]);
      const bool next = done + 1 < recording.states.size() && state == recording.states[done + 1];
      if (state != recording.states[done] && !next)
        outcome.faults.push_back("after operation " + std::to_string(step) + " and change " +
                                 std::to_string(done) + ", survivors " + std::to_string(i) + ": " +
                                 state.substr(0, 200));
    }
  }
  return outcome;
}

TEST(Durability, APowerFailureLosesNoChangeThatWasReportedAsDone) {
  const Recording recording = record([](Store&) {});
  const Outcome outcome = open_after_each(recording);
  EXPECT_GT(outcome.checked, 100);
  EXPECT_EQ(outcome.faults.size(), 0u) << outcome.faults.front();
}

TEST(Durability, WithoutSyncsChangesAreLost) {
  for (const char* setting : {"PRAGMA synchronous=OFF", "PRAGMA synchronous=NORMAL"}) {
    const Recording recording = record([&](Store& store) { store.database().execute(setting); });
    EXPECT_FALSE(open_after_each(recording).faults.empty()) << setting;
  }
}

}  // namespace
}  // namespace velm::token
