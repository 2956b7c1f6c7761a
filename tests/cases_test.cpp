// Runs the cases in cases.txt.

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "FileBackend/vorn-backend/backend.h"
#include "fixture.h"
#include "worlds.h"

namespace {

const std::map<std::string, int> errors = {
    {"EBADMSG", EBADMSG}, {"EDQUOT", EDQUOT}, {"EEXIST", EEXIST}, {"EINVAL", EINVAL}, {"EIO", EIO},
    {"EISDIR", EISDIR},   {"EMFILE", EMFILE}, {"ENOENT", ENOENT}, {"ENOMEM", ENOMEM}, {"ENOSPC", ENOSPC},
    {"EPERM", EPERM},     {"ERANGE", ERANGE}, {"EROFS", EROFS},   {"EACCES", EACCES}, {"ENOTDIR", ENOTDIR}};

std::string name_of(int error)
{
    for (const auto &[name, number] : errors)
        if (number == error)
            return name;
    return std::to_string(error);
}

// The text with the backend's status codes by their names.
std::string with_names(std::string text)
{
    for (const auto &[code, name] : std::map<std::string, std::string>{{"-31522804", "ALIAS"},
                                                                       {"-31522561", "CIPHER"},
                                                                       {"-31522809", "DIGEST"},
                                                                       {"-31522803", "INTEGRITY"},
                                                                       {"-31522799", "IO"},
                                                                       {"-31522806", "PATH"}})
        if (const size_t at = text.find(code); at != std::string::npos)
            text.replace(at, code.size(), name);
    return text;
}

// The fields of a line, without the blanks around them.
std::vector<std::string> split(const std::string &line, char at)
{
    std::vector<std::string> fields;
    std::istringstream rest(line);
    for (std::string field; std::getline(rest, field, at);) {
        const size_t begin = field.find_first_not_of(' ');
        const size_t end = field.find_last_not_of(' ');
        fields.push_back(begin == std::string::npos ? "" : field.substr(begin, end - begin + 1));
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

class Cases : public DataDirectory {
protected:
    // "600 NAME=KIND:VALUE ..."
    void prepare(const std::string &state)
    {
        const std::vector<std::string> words = split(state, ' ');
        file_map wanted = words[0] == "none" ? file_map() : there(number(words[0])).files("a");
        std::string sparse;
        for (size_t i = 1; i < words.size(); ++i) {
            const size_t is = words[i].find('=');
            const size_t colon = words[i].find(':');
            const std::string kind = words[i].substr(is + 1, colon - is - 1);
            const std::string value = words[i].substr(colon + 1);
            wanted[words[i].substr(0, is)] = object(kind, value);
            if (kind == "absent")
                wanted.erase(words[i].substr(0, is));
            if (kind == "sparse")
                sparse = words[i].substr(0, is);
        }
        start(wanted);
        EXPECT_TRUE(sparse.empty() || truncate(path(sparse).c_str(), 2147483647) == 0);
    }

    static result load(const char *name)
    {
        backend_buffer untouched = {};
        backend_buffer *record = &untouched;
        const int32_t status = backend_get_data(name, &record, nullptr);
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
        std::vector<std::string> words = split(operation, ' ');
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

    static void set_fault(const std::string &fault, std::string *call)
    {
        const std::vector<std::string> words = split(fault, ' ');
        *call = words[0];
        the_gate.set.only = call->c_str();
        the_gate.set.trip = words.size() < 2 ? 0 : std::stol(words[1]);
        the_gate.set.span = fault.find('+') == std::string::npos ? 1 : 1000;
        the_gate.set.error = words.size() < 3 ? 0 : errors.at(words[2]);
    }
};

TEST_F(Cases, GiveTheirResultsAndMessages)
{
    std::ifstream file(CASES_FILE);
    std::string what, call;
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("        ", 0) == 0)
            lines.back() += " | " + split(line, '\n')[0];
        else if (!line.empty() && line[0] != '#')
            lines.push_back(line);
    }
    for (const std::string &line : lines) {
        if (line[0] != ' ') {
            what = line;
            continue;
        }
        const std::vector<std::string> fields = split(line, ';');
        prepare(split(what, ';')[0]);
        set_fault(fields[0], &call);
        const result got = run(split(what, ';')[1]);
        std::string now =
            "    " + fields[0] + " ; " + with_names(std::to_string(got.status)) + " ; " + name_of(got.reason);
        for (size_t i = 0; i < the_gate.messages.size(); ++i)
            now += (i == 0 ? " ; " : " | ") + with_names(the_gate.messages[i]);
        EXPECT_EQ(now, line) << what;
        EXPECT_EQ(the_gate.fired, the_gate.set.trip != 0) << what << line;
    }
    EXPECT_GT(lines.size(), 100u);
}

}   // namespace
