#include "store/catalog/schema.h"

namespace store {
namespace {

// NUMBER, BYTES and BYKEY stand for the engine's own words. Every id is counted in the table `counter`.
constexpr const char* kTables[] = {
    R"sql(CREATE TABLE catalog(version NUMBER NOT NULL, repository BYTES NOT NULL))sql",

    R"sql(CREATE TABLE counter(name BYTES NOT NULL PRIMARY KEY, value NUMBER NOT NULL)BYKEY)sql",

    R"sql(CREATE TABLE session(
  id NUMBER NOT NULL PRIMARY KEY,
  mode NUMBER NOT NULL,
  client BYTES NOT NULL,
  host BYTES NOT NULL,
  process NUMBER NOT NULL,
  started BYTES NOT NULL,
  opened NUMBER NOT NULL,
  closed NUMBER,
  state NUMBER)BYKEY)sql",
    R"sql(CREATE INDEX session_open ON session(host) WHERE closed IS NULL)sql",

    // The savesets of one database and pool.
    R"sql(CREATE TABLE family(
  id NUMBER NOT NULL PRIMARY KEY,
  name BYTES NOT NULL,
  pool BYTES NOT NULL)BYKEY)sql",
    R"sql(CREATE UNIQUE INDEX family_by_name ON family(name, pool))sql",

    // items: without those that are part of a directory. bytes: of all its files. failed, warnings: how its
    // backup job was closed. reason: what the mover reported first when it ended badly. together: the uid of
    // the first saveset of its session. marked: when it was marked to be deleted. deleting: 1 while its items
    // are taken out, 2 while they come in from another repository.
    R"sql(CREATE TABLE saveset(
  id NUMBER NOT NULL PRIMARY KEY,
  uid BYTES NOT NULL,
  name BYTES NOT NULL,
  family NUMBER NOT NULL,
  created NUMBER NOT NULL,
  mover NUMBER NOT NULL,
  ended NUMBER,
  reason BYTES NOT NULL,
  failed NUMBER NOT NULL,
  warnings NUMBER NOT NULL,
  items NUMBER NOT NULL,
  bytes NUMBER NOT NULL,
  together BYTES NOT NULL,
  protected NUMBER NOT NULL,
  marked NUMBER,
  deleting NUMBER NOT NULL)BYKEY)sql",
    R"sql(CREATE UNIQUE INDEX saveset_by_name ON saveset(name))sql",
    R"sql(CREATE UNIQUE INDEX saveset_by_uid ON saveset(uid))sql",
    R"sql(CREATE INDEX saveset_of_family ON saveset(family, id))sql",
    R"sql(CREATE INDEX saveset_marked ON saveset(marked) WHERE marked IS NOT NULL)sql",

    R"sql(CREATE TABLE job(
  id NUMBER NOT NULL PRIMARY KEY,
  session NUMBER NOT NULL,
  saveset NUMBER NOT NULL,
  mode NUMBER NOT NULL,
  name BYTES NOT NULL,
  pool BYTES NOT NULL,
  opened NUMBER NOT NULL,
  closed NUMBER,
  state NUMBER)BYKEY)sql",
    R"sql(CREATE INDEX job_of_saveset ON job(saveset))sql",
    R"sql(CREATE INDEX job_of_session ON job(session))sql",

    // seen: when it last said that it is alive.
    R"sql(CREATE TABLE run(
  uid BYTES NOT NULL PRIMARY KEY,
  saveset NUMBER NOT NULL,
  host BYTES NOT NULL,
  process NUMBER NOT NULL,
  started BYTES NOT NULL,
  seen NUMBER NOT NULL)BYKEY)sql",

    // How far runs have come: those that save, and other work that has no row in `run`. A run that lasts less
    // than a second has none. began, told: by the catalog's clock. all_items, all_bytes: null until they are
    // known.
    R"sql(CREATE TABLE progress(
  uid BYTES NOT NULL PRIMARY KEY,
  tool BYTES NOT NULL,
  saveset NUMBER NOT NULL,
  host BYTES NOT NULL,
  process NUMBER NOT NULL,
  started BYTES NOT NULL,
  began NUMBER NOT NULL,
  told NUMBER NOT NULL,
  items NUMBER NOT NULL,
  all_items NUMBER,
  bytes NUMBER NOT NULL,
  all_bytes NUMBER)BYKEY)sql",

    // checked: when all of it was last found good.
    R"sql(CREATE TABLE pack(
  id NUMBER NOT NULL PRIMARY KEY,
  uid BYTES NOT NULL,
  saveset NUMBER NOT NULL,
  state NUMBER NOT NULL,
  size NUMBER NOT NULL,
  checked NUMBER)BYKEY)sql",
    R"sql(CREATE UNIQUE INDEX pack_by_uid ON pack(uid))sql",
    R"sql(CREATE INDEX pack_to_do ON pack(state, saveset) WHERE state <> 1)sql",
    R"sql(CREATE INDEX pack_of_saveset ON pack(saveset))sql",

    // The record also says what the columns say. pack: the one that has the record.
    R"sql(CREATE TABLE item(
  saveset NUMBER NOT NULL,
  number NUMBER NOT NULL,
  family NUMBER NOT NULL,
  key BYTES NOT NULL,
  listed BYTES,
  kind NUMBER NOT NULL,
  directory NUMBER NOT NULL,
  size NUMBER NOT NULL,
  stored NUMBER NOT NULL,
  pack NUMBER NOT NULL,
  record BYTES NOT NULL,
  PRIMARY KEY(saveset, number))BYKEY)sql",
    R"sql(CREATE INDEX item_of_saveset ON item(saveset, key))sql",
    R"sql(CREATE INDEX item_shown ON item(saveset, listed) WHERE listed IS NOT NULL)sql",
    R"sql(CREATE INDEX item_by_key ON item(key, family, saveset, directory))sql",
    R"sql(CREATE INDEX item_by_listed ON item(listed, family, saveset, directory) WHERE listed IS NOT NULL)sql",
    R"sql(CREATE INDEX item_of_pack ON item(pack))sql",

    // The packs that an item needs besides the one with its record.
    R"sql(CREATE TABLE needs(
  saveset NUMBER NOT NULL,
  number NUMBER NOT NULL,
  pack NUMBER NOT NULL,
  PRIMARY KEY(saveset, number, pack))BYKEY)sql",
    R"sql(CREATE INDEX needs_of_pack ON needs(pack))sql",

    // Directories whose own record has not come yet: nobody sees what is in them.
    R"sql(CREATE TABLE unfinished(
  saveset NUMBER NOT NULL,
  directory NUMBER NOT NULL,
  entries NUMBER NOT NULL,
  PRIMARY KEY(saveset, directory))BYKEY)sql",

    // Savesets that are out of the catalog, while their objects are still there.
    R"sql(CREATE TABLE deleted(uid BYTES NOT NULL PRIMARY KEY)BYKEY)sql",
};

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

std::vector<std::string> SchemaStatements(const SqlTypes& types) {
  std::vector<std::string> statements;
  for (std::string text : kTables) {
    ReplaceAll(text, "NUMBER", types.number);
    ReplaceAll(text, "BYTES", types.bytes);
    ReplaceAll(text, "BYKEY", types.byKey);
    statements.push_back(std::move(text));
  }
  return statements;
}

}  // namespace store
