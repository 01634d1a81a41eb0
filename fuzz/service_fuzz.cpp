// Any form that a signed-in device sends to the account service for development: the service never fails, a request
// that it refuses changes nothing, and the journal has the reply.
#include <SQLiteCpp/Backup.h>
#include <sqlite3.h>

#include "fuzz/fuzz.h"
#include "kovacenter/accounts.h"
#include "kovacenter/auth_keys.h"
#include "kovacenter/digest.h"
#include "kovacenter/journal.h"
#include "kovacenter/purchases.h"
#include "kovacenter/router.h"

using namespace kova::center;

// Makes two accounts. Returns what a form begins with when its device is signed in to the second.
static std::string fill(SQLite::Database &database) {
  const std::string serial = "1430TST000001", token = deviceToken(serial);
  Account account;
  for (const char *email : {"bob@kova.example", "ada@kova.example"}) {
    account.email = email;
    addAccount(database, account, "secret");
    for (const Purchase &purchase : makeHistory(account, 3)) addPurchase(database, account, purchase);
  }
  execute(database, "INSERT INTO devices (serial, mac, api_key) VALUES (?, '', ?)", serial, sha256Hex("api"));
  database.exec("PRAGMA journal_mode = MEMORY");  // a database in memory cannot be the copy of one with another journal
  return "vx_sn=" + serial + "&vx_token=" + token + "&serial=" + serial + "&token=" + token + "&api_key=api&mac=m" +
         "&kova_id=" + account.kovaId() + "&auth_key=" + issueAuthKey(database, account.id, serial) + "&";
}

void fuzz(FuzzDevice &device, const std::string &input) {
  static SQLite::Database sample = openDatabase(device.at("/sample.db")), database(":memory:", SQLite::OPEN_READWRITE);
  static const std::string start = fill(sample);
  static int commits = 0;
  const auto countCommit = [](void *) { return ++commits, 0; };
  SQLite::Backup(database, sample).executeStep();
  database.exec("PRAGMA foreign_keys = ON");
  sqlite3_commit_hook(database.getHandle(), countCommit, nullptr);
  commits = 0;

  const Texts parts = split(input, '\f', 2);
  const char *host = parts[0] == "/api/query.php" ? KOVA_HOST_FIRST : KOVA_HOST_SERVICE;
  const Request request = {host, "POST", parts[0], start + parts[1]};
  const Reply reply = replyTo(database, {}, request);
  const auto members = kova::parseJsonObject(reply.body);
  const std::string word = members ? (*members)["code"].asString() : reply.body;
  check(!word.empty() && word != "badsys" && (word == "good" || commits == 0));
  Journal(device.at("/journal.jsonl")).add(request, reply, "");
  check(kova::parseJsonObject(device.read("/journal.jsonl")).value()["reply"] == reply.body);
}
