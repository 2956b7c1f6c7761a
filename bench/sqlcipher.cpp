/*
 * SQLCipher as an application would take it for the same purpose: a raw key, a
 * table with a row for each block, statements that stay prepared, and a commit
 * that has reached storage after each call.
 */
#include <sqlcipher/sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "store.h"

enum { DELETE, WAL };   // the journal modes

struct connection {
    sqlite3 *database;
    sqlite3_stmt *insert, *update, *select;
    uint32_t block_size;
    uint32_t size;
};
static connection connections[2];

static bool execute(sqlite3 *database, const char *statement)
{
    return sqlite3_exec(database, statement, nullptr, nullptr, nullptr) == SQLITE_OK;
}

static bool finish(sqlite3_stmt *statement, int expected)
{
    const bool fine = sqlite3_step(statement) == expected;
    return sqlite3_reset(statement) == SQLITE_OK && fine;
}

static void finalize(connection *c)
{
    sqlite3_finalize(c->insert);
    sqlite3_finalize(c->update);
    sqlite3_finalize(c->select);
    c->insert = c->update = c->select = nullptr;
}

template <int mode>
static bool open_database(const char *directory)
{
    connection *c = &connections[mode];
    finalize(c);
    sqlite3_close(c->database);
    char path[256];
    snprintf(path, sizeof path, "%s/%s.db", directory, mode == WAL ? "wal" : "delete");
    return sqlite3_open(path, &c->database) == SQLITE_OK &&
           execute(c->database, "PRAGMA key = \"x'000102030405060708090a0b0c0d0e0f"
                                "101112131415161718191a1b1c1d1e1f'\"") &&
           execute(c->database, mode == WAL ? "PRAGMA journal_mode = WAL" : "PRAGMA journal_mode = DELETE") &&
           execute(c->database, "PRAGMA synchronous = FULL");
}

template <int mode>
static bool create_table(uint32_t block_size)
{
    connection *c = &connections[mode];
    c->block_size = block_size;
    c->size = 0;
    return execute(c->database, "CREATE TABLE space (number INTEGER PRIMARY KEY, block BLOB)");
}

template <int mode>
static bool drop_table()
{
    finalize(&connections[mode]);
    return execute(connections[mode].database, "DROP TABLE space");
}

static bool prepare_statements(connection *c)
{
    const auto prepare = [c](const char *text, sqlite3_stmt **out) {
        return *out != nullptr || sqlite3_prepare_v2(c->database, text, -1, out, nullptr) == SQLITE_OK;
    };
    return prepare("INSERT INTO space VALUES (?, ?)", &c->insert) &&
           prepare("UPDATE space SET block = ?2 WHERE number = ?1", &c->update) &&
           prepare("SELECT block FROM space WHERE number = ?", &c->select);
}

static bool put_row(const connection *c, uint32_t number, const unsigned char *bytes, uint32_t count)
{
    sqlite3_stmt *statement = number * c->block_size < c->size ? c->update : c->insert;
    return sqlite3_bind_int64(statement, 1, number) == SQLITE_OK &&
           sqlite3_bind_blob(statement, 2, bytes, static_cast<int>(count), SQLITE_STATIC) == SQLITE_OK &&
           finish(statement, SQLITE_DONE);
}

// A part of a row is what SQLite's own interface for parts is for.
static bool move_part(const connection *c, uint32_t offset, int count, const unsigned char *in, unsigned char *out)
{
    sqlite3_blob *part = nullptr;
    const int position = static_cast<int>(offset % c->block_size);
    const sqlite3_int64 number = offset / c->block_size;
    bool fine = sqlite3_blob_open(c->database, "main", "space", "block", number, in != nullptr, &part) == SQLITE_OK;
    if (fine && in != nullptr)
        fine = sqlite3_blob_write(part, in, count, position) == SQLITE_OK;
    else if (fine)
        fine = sqlite3_blob_read(part, out, count, position) == SQLITE_OK;
    return sqlite3_blob_close(part) == SQLITE_OK && fine;
}

template <int mode>
static bool write_rows(uint32_t offset, uint32_t length, const unsigned char *bytes)
{
    connection *c = &connections[mode];
    if (!prepare_statements(c))
        return false;
    if (length < c->block_size)
        return move_part(c, offset, static_cast<int>(length), bytes, nullptr);
    const bool several = length > c->block_size;
    if (several && !execute(c->database, "BEGIN"))
        return false;
    for (uint32_t done = 0; done < length; done += c->block_size) {
        if (!put_row(c, (offset + done) / c->block_size, bytes + done, c->block_size))
            return false;
    }
    if (several && !execute(c->database, "COMMIT"))
        return false;
    c->size = std::max(c->size, offset + length);
    return true;
}

template <int mode>
static bool read_rows(uint32_t offset, uint32_t length, unsigned char *bytes)
{
    connection *c = &connections[mode];
    if (!prepare_statements(c))
        return false;
    if (length < c->block_size)
        return move_part(c, offset, static_cast<int>(length), nullptr, bytes);
    for (uint32_t done = 0; done < length; done += c->block_size) {
        if (sqlite3_bind_int64(c->select, 1, (offset + done) / c->block_size) != SQLITE_OK ||
            sqlite3_step(c->select) != SQLITE_ROW ||
            sqlite3_column_bytes(c->select, 0) != static_cast<int>(c->block_size))
            return false;
        memcpy(bytes + done, sqlite3_column_blob(c->select, 0), c->block_size);
        sqlite3_reset(c->select);
    }
    return true;
}

template <int mode>
static bool fill_table(uint32_t block_size, uint32_t size)
{
    connection *c = &connections[mode];
    if (!create_table<mode>(block_size) || !prepare_statements(c) ||
        !execute(c->database, "PRAGMA synchronous = OFF; BEGIN"))
        return false;
    for (uint32_t i = 0; i < size / block_size; ++i) {
        if (!put_row(c, i, sample_bytes(), block_size))
            return false;
    }
    c->size = size;
    return execute(c->database, "COMMIT; PRAGMA synchronous = FULL");
}

template <int mode>
static constexpr store store_of(const char *name)
{
    return {
        name,           open_database<mode>, fill_table<mode>, create_table<mode>, drop_table<mode>, write_rows<mode>,
        read_rows<mode>};
}

const store sqlcipher_delete = store_of<DELETE>("SQLCipher");
const store sqlcipher_wal = store_of<WAL>("SQLCipher with WAL");
