// A replica database that SQLite cannot use, or a disk with no room, reaches the user in the
// drive's own words; what SQLite said is for developers, in the system log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <limits>

#include "cli/pralodrive_child.h"
#include "replica/content_store.h"
#include "replica/replica_fixture.h"
#include "replica/sql_connection.h"
#include "support/log_lines.h"
#include "support/test_files.h"

namespace drive::replica {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

const std::string kDamaged = "The drive's database is damaged.";

void expectNoSQLiteWording(const std::string& text) {
  EXPECT_THAT(text, ::testing::Not(HasSubstr("SQL")));
  EXPECT_THAT(text, ::testing::Not(HasSubstr("sqlite")));
  for (int code = SQLITE_ERROR; code <= SQLITE_WARNING; ++code)
    EXPECT_THAT(text, ::testing::Not(HasSubstr(sqlite3_errstr(code)))) << text;
}

class ReplicaDatabase : public test_support::ReplicaTest {
 protected:
  void SetUp() override {
    ReplicaTest::SetUp();
    drive::test_support::writeText(options().stateDirectory / "replica.db", std::string(8192, 'x'));
  }

  template <typename Use>
  std::string failureOf(Use use) {
    try {
      use();
      ADD_FAILURE() << "the database was used";
    } catch (const ReplicaError& error) {
      EXPECT_EQ(error.kind(), ReplicaError::Kind::failed);
      return error.what();
    }
    return {};
  }
};

TEST_F(ReplicaDatabase, AFileThatIsNoDatabaseIsDamagedInTheUsersWords) {
  drive::test_support::LogLines log;
  const auto reading = failureOf([this] { readStatus(options()); });
  const auto syncing = failureOf([this] { replica(false); });
  for (const auto& text : {reading, syncing}) {
    EXPECT_EQ(text, kDamaged);
    expectNoSQLiteWording(text);
  }
  EXPECT_THAT(log.errors(), Contains(HasSubstr("file is not a database")));

  cli::test_support::PralodriveChild status({"status"}, childEnvironment(), root() / "status.err");
  EXPECT_EQ(status.finish(), 1);
  const auto printed = drive::test_support::readText(root() / "status.err");
  EXPECT_EQ(printed, "pralodrive: " + kDamaged + "\n");
  expectNoSQLiteWording(printed);
}

TEST_F(ReplicaDatabase, ADatabaseWithNoRoomLeftIsAFullDiskAndStaysUsable) {
  std::filesystem::remove(options().stateDirectory / "replica.db");
  SqlConnection database(options().stateDirectory / "replica.db", false);
  database.execute("CREATE TABLE notes(body BLOB)");
  // As full as a disk with no room left: SQLite may grow the file by no page.
  database.execute("PRAGMA max_page_count = 2");
  drive::test_support::LogLines log;
  try {
    SqlTransaction transaction(database);
    database.prepare("INSERT INTO notes VALUES (zeroblob(100000))").run();
    transaction.commit();
    ADD_FAILURE() << "the insert found room";
  } catch (const ReplicaError& error) {
    EXPECT_EQ(error.kind(), ReplicaError::Kind::diskFull);
    EXPECT_EQ(std::string(error.what()),
              "The disk is full: the drive's database could not be written.");
  }
  EXPECT_THAT(log.errors(), ::testing::Not(Contains(HasSubstr("ROLLBACK"))));
  SqlTransaction transaction(database);
  database.prepare("INSERT INTO notes VALUES (x'00')").run();
  transaction.commit();
}

TEST_F(ReplicaDatabase, ACopyThatCannotFitIsNotDownloaded) {
  const ContentStore store(root() / "store");
  EXPECT_NO_THROW(store.checkRoom("Small.bin", 1));
  try {
    store.checkRoom("Huge.bin", std::numeric_limits<std::int64_t>::max());
    ADD_FAILURE() << "an exabyte found room";
  } catch (const ReplicaError& error) {
    EXPECT_EQ(error.kind(), ReplicaError::Kind::diskFull);
    EXPECT_THAT(error.what(), HasSubstr("There is no room on this disk for a copy of Huge.bin ("));
  }
}

}  // namespace
}  // namespace drive::replica
