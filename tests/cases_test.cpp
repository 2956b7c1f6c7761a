// Runs the cases in cases.txt.

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "fixture.h"

namespace {

const std::map<std::string, int> errors = {{"EDQUOT", EDQUOT}, {"EMFILE", EMFILE}, {"ENOENT", ENOENT},
                                           {"ENOMEM", ENOMEM}, {"ENOSPC", ENOSPC}, {"EPERM", EPERM},
                                           {"EROFS", EROFS}};

class Cases : public DataDirectory {
protected:
    static std::string object(const std::string &kind, uint32_t size)
    {
        std::string sealed = seal(text(kind == "blocksize" || kind == "sparse" ? 1 : size));
        if (kind == "raw")
            return text(size);
        if (kind == "plain")
            return encrypt(text(size));
        if (kind == "otherkey")
            return seal(text(size), true);
        if (kind == "cut")
            return sealed.substr(1);
        if (kind == "longer")
            return sealed + text(16);
        if (kind == "blocksize")
            return seal(header_image(size, 0, 600));
        if (kind == "changed")
            sealed[20] = static_cast<char>(sealed[20] ^ 1);
        return sealed;
    }

    void prepare(const std::string &state)
    {
        std::istringstream words(state);
        std::string word;
        words >> word;
        file_map wanted;
        if (word != "none")
            wanted = data_space(static_cast<uint32_t>(std::stoul(word)));
        restore(wanted);
        while (words >> word) {
            const std::string name = word.substr(0, word.find('='));
            const std::string kind = word.substr(name.size() + 1, word.find(':') - name.size() - 1);
            const auto size = static_cast<uint32_t>(std::stoul(word.substr(word.find(':') + 1)));
            if (kind != "dir" || mkdir(path(name).c_str(), 0700) != 0)
                put(name, object(kind, size));
            EXPECT_TRUE(kind != "sparse" || truncate(path(name).c_str(), size) == 0);
        }
        reset_gate(directory);
    }

    static int32_t load(const char *name)
    {
        backend_buffer untouched = {};
        backend_buffer *record = &untouched;
        const int32_t status = backend_get_data(name, &record);
        EXPECT_EQ(record == &untouched, status != 0);
        const loaded_object release(status == 0 ? record : nullptr);
        return status;
    }

    int32_t save(const char *name, backend_buffer bytes) const
    {
        object_change change;
        const int32_t status = backend_save_data(name, bytes, &change);
        EXPECT_EQ(change.created,
                  status != 0 && access(path(name).c_str(), F_OK) == 0 && status != BACKEND_ERR_ALIAS_STATE);
        return status;
    }

    int32_t run(const std::string &operation) const
    {
        static unsigned char room[4096];
        std::istringstream words(operation);
        std::string call, name, first, second;
        words >> call >> name >> first >> second;
        const std::string label = name == "33" ? std::string(33, 'l') : name;
        const char *who = name == "NULL" ? nullptr : label.c_str();
        const auto number = [](const std::string &word) {
            return word == "" ? 0 : word == "NULL" ? 1 : static_cast<uint32_t>(std::stoul(word));
        };
        unsigned char *buffer = first == "NULL" || second == "NULL" ? nullptr : room;
        return gated([&] {
            return call == "create"   ? vorn_create(who, number(first), number(second))
                   : call == "remove" ? vorn_remove(who)
                   : call == "write"  ? vorn_write(who, number(first), number(second), buffer)
                   : call == "read"   ? vorn_read(who, number(first), number(second), buffer)
                   : call == "load"   ? load(who)
                   : call == "save"   ? save(who, {buffer, number(first)})
                                      : backend_remove_alias(who);
        });
    }
};

TEST_F(Cases, GiveTheirResultsAndMessages)
{
    std::ifstream file(CASES_FILE);
    std::string line;
    std::vector<std::vector<std::string>> cases;   // the case's line and its messages
    while (std::getline(file, line)) {
        if (line[0] == ' ')
            cases.back().push_back(line.substr(4));
        else if (line != "" && line[0] != '#')
            cases.push_back({line});
    }
    for (std::vector<std::string> &messages : cases) {
        const std::string what = messages[0];
        messages.erase(messages.begin());
        std::vector<std::string> fields;
        for (std::istringstream rest(what); std::getline(rest, line, ';');)
            fields.push_back(line);
        ASSERT_EQ(fields.size(), 4u) << what;
        prepare(fields[0]);
        std::string call, trip, error;
        std::istringstream(fields[2]) >> call >> trip >> error;
        the_gate.only = call.c_str();
        the_gate.trip = trip == "" ? 0 : std::stol(trip);
        the_gate.span = trip == "" || trip.back() != '+' ? 1 : 1000;
        the_gate.error = error == "" ? 0 : errors.at(error);
        const bool stays = fields[1].find("load") == 1 && fields[0].find("=seal") != std::string::npos &&
                           fields[0].find("VORN_OLD") == std::string::npos;
        const file_map before = stays ? files() : file_map();
        EXPECT_EQ(run(fields[1]), std::stol(fields[3])) << what;
        EXPECT_EQ(the_gate.fired, trip != "") << what;
        EXPECT_EQ(the_gate.messages, messages) << what;
        EXPECT_TRUE(!stays || files() == before) << what;
        if (fields[0].find('=') == std::string::npos && call != "unlinkat") {
            for (const auto &[name, bytes] : files())
                EXPECT_NE(name.substr(0, 8), "VORN_OLD") << what;
        }
    }
    EXPECT_GT(cases.size(), 100u);
}

}   // namespace
