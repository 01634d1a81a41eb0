// Any form that a signed-in device sends to the account service for development: the service never fails, a request
// that it refuses changes nothing, and the journal has the reply.
#include <SQLiteCpp/Backup.h>
#include <sqlite3.h>

#include <memory>

#include "base/release.h"
#include "fuzz/fuzz.h"
#include "kovacenter/accounts.h"
#include "kovacenter/auth_keys.h"
#include "kovacenter/digest.h"
#include "kovacenter/journal.h"
#include "kovacenter/purchases.h"
#include "kovacenter/router.h"

using namespace kova::center;

// Makes two accounts. Returns what a form begins with when its device is signed in to the first.
static std::string fill(SQLite::Database &database) {
  const std::string serial = "1430TST000001", token = deviceToken(serial);
  Account account;
  for (const char *email : {"bob@kova.example", "ada@kova.example"}) {
    account.email = email;
    addAccount(database, account, "secret");
    for (const Purchase &purchase : makeHistory(account, 3)) addPurchase(database, account, purchase);
  }
  execute(database, "INSERT INTO devices (serial, mac, api_key) VALUES (?, '', ?)", serial, sha256Hex("api"));
  return "vx_sn=" + serial + "&vx_token=" + token + "&serial=" + serial + "&token=" + token + "&api_key=api&mac=m" +
         "&kova_id=" + account.kovaId() + "&auth_key=" + issueAuthKey(database, account.id, serial) + "&";
}

static std::string contentOf(const SQLite::Database &database) {
  sqlite3_int64 size = 0;
  unsigned char *bytes = sqlite3_serialize(database.getHandle(), "main", &size, 0);
  const std::unique_ptr<unsigned char, kova::Release<sqlite3_free>> owner(bytes);
  return {bytes, bytes + size};
}

void fuzz(FuzzDevice &device, Input input) {
  static SQLite::Database sample = openDatabase(device.at("/sample.db")), database(":memory:", SQLite::OPEN_READWRITE);
  static const std::string start = fill(sample);
  sample.exec("PRAGMA journal_mode = MEMORY");  // a database in memory cannot be the copy of one with another journal
  SQLite::Backup(database, sample).executeStep();
  database.exec("PRAGMA foreign_keys = ON");

  const std::string path = input.next(), before = contentOf(database);
  const char *host = path == "/api/query.php" ? KOVA_HOST_FIRST : KOVA_HOST_SERVICE;
  const Request request = {host, "POST", path, start + std::string(input.rest())};
  const Reply reply = replyTo(database, {}, request);
  const auto members = kova::parseJsonObject(reply.body);
  const std::string word = members ? (*members)["code"].asString() : reply.body;
  check(!word.empty() && word != "badsys" && (word == "good" || contentOf(database) == before));
  Journal(device.at("/journal.jsonl")).add(request, reply, "");
  check(kova::parseJsonObject(device.read("/journal.jsonl")).value()["reply"] == reply.body);
}
