// Runs the cases in cases.txt.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "FileBackend/vorn-backend/backend.h"
#include "fixture.h"
#include "worlds.h"

namespace {

// The reasons in the cases; an older libc has no table of its own.
#define NAMED(error) std::make_pair(error, #error)
const std::map<int, std::string> reasons = {{0, "0"},      NAMED(EACCES),  NAMED(EBADMSG), NAMED(EEXIST), NAMED(EINVAL),
                                            NAMED(EIO),    NAMED(EISDIR),  NAMED(EMFILE),  NAMED(ENOENT), NAMED(ENOMEM),
                                            NAMED(ENOSPC), NAMED(ENOTDIR), NAMED(EPERM),   NAMED(ERANGE), NAMED(EROFS)};

std::string name_of(int error)
{
    const auto found = reasons.find(error);
    return found == reasons.end() ? std::to_string(error) : found->second;
}

int error_of(const std::string &name)
{
    for (const auto &[error, its_name] : reasons)
        if (name == its_name)
            return error;
    ADD_FAILURE() << "no reason is called " << name;
    return 0;
}

// The fields of a line, without the blanks around them.
std::vector<std::string> split(std::string line, const std::string &at)
{
    std::vector<std::string> fields;
    line += at;
    for (size_t end; (end = line.find(at)) != std::string::npos; line.erase(0, end + at.size())) {
        const size_t begin = std::min(line.find_first_not_of(' '), end);
        fields.push_back(line.substr(begin, line.find_last_not_of(' ', end - 1) + 1 - begin));
    }
    return fields;
}

uint32_t number(const std::string &word)
{
    return word.empty() || word == "NULL" ? 0 : static_cast<uint32_t>(std::stoul(word));
}

std::string object(const std::string &kind, const std::string &value)
{
    const uint32_t size = kind == "link" ? 0 : number(value);
    std::string sealed = seal(text(kind == "blocksize" || kind == "sparse" ? 1 : size));
    if (kind == "raw")
        return text(size);
    if (kind == "plain")
        return encrypt(text(size));
    if (kind == "otherkey")
        return seal(text(size), true);
    if (kind == "cut")
        return sealed.substr(1);
    if (kind == "lastbyte") {
        std::string plaintext = text(size) + digest(text(size));
        plaintext.back() = static_cast<char>(plaintext.back() ^ 1);
        return encrypt(plaintext);
    }
    if (kind == "longer")
        return sealed + text(16);
    if (kind == "blocksize")
        return seal(header_image(size, 0, 600));
    if (kind == "counts")
        return seal(header_image(512, 0, size));
    if (kind == "dir")
        return "directory";
    std::string target = "-> " + value;
    std::replace(target.begin() + 3, target.end(), '_', ' ');
    if (kind == "changed")
        sealed[20] = static_cast<char>(sealed[20] ^ 1);
    return kind == "link" ? target : sealed;
}

struct result {
    int32_t status;
    int reason;
};

// H, S, B1 and O1 are the header, its sign, a block and its kept version.
std::string full_name(const std::string &name)
{
    const std::string number = name.substr(1);
    return name == "H"      ? "VORN_HDR_a"
           : name == "S"    ? "VORN_OLD_VORN_HDR_a"
           : name[0] == 'B' ? "VORN_DATA_a_" + number
           : name[0] == 'O' ? "VORN_OLD_VORN_DATA_a_" + number
                            : name;
}

class Cases : public DataDirectory {
protected:
    // "600 NAME=KIND:VALUE ..."
    void prepare(const std::string &state)
    {
        const std::vector<std::string> words = split(state, " ");
        file_map wanted = words[0] == "none" ? file_map() : there(number(words[0])).files("a");
        std::string sparse;
        for (size_t i = 1; i < words.size(); ++i) {
            const size_t is = words[i].find('=');
            const size_t colon = words[i].find(':');
            const std::string name = full_name(words[i].substr(0, is));
            const std::string kind = words[i].substr(is + 1, colon - is - 1);
            wanted[name] = object(kind, words[i].substr(colon + 1));
            if (kind == "absent")
                wanted.erase(name);
            if (kind == "sparse")
                sparse = name;
        }
        start(wanted);
        EXPECT_TRUE(sparse.empty() || truncate(path(sparse).c_str(), 2147483647) == 0);
    }

    static result load(const char *name)
    {
        backend_buffer untouched = {};
        backend_buffer *record = &untouched;
        owned<char> directory;
        const int32_t status = backend_get_data(name, &record, &directory);
        const int reason = status != 0 ? errno : 0;
        EXPECT_EQ(record == &untouched, status != 0);
        const loaded_object release(status == 0 ? record : nullptr);
        return {status, reason};
    }

    result save(const char *name, backend_buffer bytes) const
    {
        const bool was_there = access(path(name).c_str(), F_OK) == 0;
        const int32_t status = backend_save_data(name, bytes);
        const int reason = status != 0 ? errno : 0;
        EXPECT_EQ(status != 0 && file_has_remains(status, reason),
                  status != 0 && !was_there && access(path(name).c_str(), F_OK) == 0);
        return {status, reason};
    }

    static result remove(const char *name)
    {
        const int32_t status = backend_remove_alias(name);
        return {status, status != 0 ? errno : 0};
    }

    result run(const std::string &operation) const
    {
        static unsigned char room[4096];
        std::vector<std::string> words = split(operation, " ");
        words.resize(4);
        const std::string label = words[1] == "33" ? std::string(33, 'l') : words[1];
        const char *who = words[1] == "NULL" ? nullptr : label.c_str();
        const uint32_t first = number(words[2]);
        const uint32_t second = words[3] == "NULL" ? 1 : number(words[3]);
        unsigned char *buffer = words[2] == "NULL" || words[3] == "NULL" ? nullptr : room;
        result backend = {};
        const int32_t status = gated([&] {
            backend = words[0] == "load"     ? load(who)
                      : words[0] == "save"   ? save(who, {buffer, buffer == nullptr ? 1 : first})
                      : words[0] == "delete" ? remove(who)
                                             : result{1, 0};
            return words[0] == "create"   ? vorn_create(who, first, second)
                   : words[0] == "remove" ? vorn_remove(who)
                   : words[0] == "write"  ? vorn_write(who, first, second, buffer)
                   : words[0] == "read"   ? vorn_read(who, first, second, buffer)
                                          : backend.status;
        });
        return {status, backend.status == 1 ? the_gate.reason : backend.reason};
    }

    void expect(const std::string &state, const std::string &operation, const std::string &line)
    {
        const std::vector<std::string> fields = split(line, ";");
        const std::vector<std::string> fault = split(fields[0], " ");
        prepare(state);
        the_gate.set.only = fault[0].c_str();
        the_gate.set.trip = fault.size() < 2 ? 0 : std::stol(fault[1]);
        the_gate.set.span = fields[0].find('+') == std::string::npos ? 1 : 1000;
        the_gate.set.torn = fault.back() == "short" ? HALF : NOTHING;
        the_gate.set.error = fault.size() < 3 || the_gate.set.torn == HALF ? 0 : error_of(fault[2]);
        const result got = run(operation);
        std::string now = fields[0] + " ; " + std::to_string(got.status) + " ; " + name_of(got.reason);
        if (line.back() == '*' && !the_gate.messages.empty())
            the_gate.messages = {"*"};
        for (size_t i = 0; i < the_gate.messages.size(); ++i)
            now += (i == 0 ? " ; " : " | ") + the_gate.messages[i];
        EXPECT_EQ(now, line) << state << " " << operation;
        EXPECT_EQ(the_gate.fired, the_gate.set.trip != 0) << state << line;
    }
};

TEST_F(Cases, GiveTheirResultsAndMessages)
{
    std::ifstream file(CASES_FILE);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("        ", 0) == 0)
            lines.back() += " | " + line.substr(8);
        else if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    }
    std::vector<std::string> what;
    for (std::string line : lines) {
        if (line[0] != ' ') {
            what = split(line, ";");
            line.erase(0, what[0].size() + what[1].size() + (what.size() > 2 ? 6 : 3));
        }
        if (!line.empty())
            for (const std::string &each : split(line, "||"))
                expect(what[0], what[1], each);
    }
    EXPECT_GT(lines.size(), 100u);
}

}   // namespace
