// Faults, kills and power cuts at every call.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "fixture.h"

namespace {

constexpr int ABSENT = -1;

// An operation on the data space "a", of blocks of 512 bytes.
struct operation {
    enum { CREATE, REPLACE, WRITE, REMOVE, READ } kind;
    int before;   // bytes in the data space, or ABSENT
    uint32_t offset;
    uint32_t length;

    std::string old() const { return text(before < 0 ? 0 : static_cast<size_t>(before)); }

    std::string fresh() const
    {
        std::string bytes = kind == REPLACE ? "" : old();
        if (kind == WRITE)
            bytes.replace(offset, length, text(length, 2));
        return bytes;
    }

    int32_t run() const
    {
        const std::string bytes = text(length, 2);
        std::string room(8192, '\0');
        return kind == CREATE    ? vorn_create("a", 512, 0)
               : kind == REPLACE ? vorn_create("a", 512, VORN_CREATE_REPLACE)
               : kind == WRITE   ? vorn_write("a", offset, length, bytes.data())
               : kind == REMOVE  ? vorn_remove("a")
                                 : vorn_read("a", 0, 8192, room.data());
    }
};

const operation operations[] = {
    {operation::CREATE, ABSENT, 0, 0},  {operation::REPLACE, 700, 0, 0},   {operation::WRITE, 0, 0, 700},
    {operation::WRITE, 700, 700, 1300}, {operation::WRITE, 1024, 1024, 5}, {operation::WRITE, 2000, 100, 1200},
    {operation::WRITE, 512, 512, 1024}, {operation::REMOVE, 700, 0, 0},    {operation::READ, 700, 0, 0},
};

class Interruption : public DataDirectory {
protected:
    void prepare(const operation &op)
    {
        restore(op.before == ABSENT ? file_map() : data_space(static_cast<uint32_t>(op.before)));
        reset_gate(directory);
    }

    // Bytes at the front of the range that are new, when all after them are old;
    // or -1.
    static long new_bytes(const operation &op, const std::string &now)
    {
        const std::string fresh = op.fresh();
        for (size_t end = op.offset + op.length;; end = (end - 1) / 512 * 512) {
            end = std::max<size_t>(end, op.offset);
            std::string mixed = op.old();
            mixed.replace(op.offset, end - op.offset, fresh.substr(op.offset, end - op.offset));
            if (now == mixed || (end > op.old().size() && now == mixed.substr(0, op.old().size())))
                return static_cast<long>(end - op.offset);
            if (end == op.offset)
                return -1;
        }
    }

    // What is wrong after `op` was cut short when `bytes` of the range were on
    // storage, and then with running it again and removing it; or "".
    std::string problem(const operation &op, long bytes, bool recorded)
    {
        // A removal that could not delete a block, or could not read how many
        // there are, says so and leaves blocks behind.
        bool may_leave = false;
        for (const std::string &message : the_gate.messages)
            may_leave = may_leave || message.find("W vorn_remove: ") == 0;
        reset_gate(directory);
        const content now = read_all();
        if (now.status == -ENODATA ? op.before != ABSENT && op.kind >= operation::WRITE && op.kind != operation::REMOVE
                                   : now.status != 0)
            return "status " + std::to_string(now.status);
        if (op.kind == operation::WRITE) {
            if (!now.complete || new_bytes(op, now.bytes) < 0)
                return "torn or mixed";
            const long visible = static_cast<long>(now.bytes.size()) - op.offset;
            if (recorded ? now.bytes != op.fresh() : new_bytes(op, now.bytes) < std::min(bytes, visible))
                return "finished bytes are gone";
        }
        const int32_t again = gated([&] { return op.run(); });
        if (again != static_cast<int32_t>(op.kind == operation::READ ? op.old().size() : op.length) &&
            again != (op.kind == operation::REMOVE ? -ENODATA : -EEXIST))
            return "again gives " + std::to_string(again);
        if (op.kind != operation::REMOVE && read_all().bytes != op.fresh())
            return "again gives other bytes";
        const int32_t removed = gated([] { return vorn_remove("a"); });
        if (removed != (op.kind == operation::REMOVE ? -ENODATA : 0) || (!may_leave && !files().empty()))
            return "removal leaves something";
        return "";
    }

    // Runs `op`, dying before file call `trip`, and tells whether it came to that.
    // Gives the bytes of the range whose blocks were stored before.
    static bool die(const operation &op, long trip, int torn, long *bytes, bool *recorded)
    {
        the_gate.counted = FILE_CALL | SIDE_CALL;
        the_gate.trip = trip;
        the_gate.torn = torn;
        the_gate.dies = true;
        gated([&] { return op.run(); });
        const long blocks = op.length == 0 ? 0 : (op.offset + op.length - 1) / 512 - op.offset / 512 + 1;
        const bool grows = op.offset + op.length > op.old().size();
        *recorded = the_gate.writes == blocks + (grows ? 1 : 0);
        *bytes = std::min<long>(the_gate.writes * 512L - op.offset % 512, op.length);
        return the_gate.fired;
    }

    // Runs `op` with a fault of the machine at call `trip`. A final call of the
    // cipher that fails is not one: it tells of a damaged file.
    static bool fail(const operation &op, long trip, long *bytes)
    {
        the_gate.counted = FILE_CALL | SIDE_CALL | MEMORY_CALL;
        the_gate.trip = trip;
        the_gate.error = EMFILE;
        *bytes = std::max<long>(*bytes, gated([&] { return op.run(); }));
        return the_gate.fired;
    }

    enum sequel { NO_SEQUEL, DEATH, FAULT };

    // The crash sweep: die at each file call, with a write that is torn in each
    // way; then, as the sequel, run the same operation again and die at each of
    // its calls, or have each of them fail. Returns how many stop points there
    // were and how many lost something.
    std::pair<long, long> crash_everywhere(sequel then, bool no_side = false)
    {
        long points = 0;
        long losses = 0;
        for (const operation &op : operations) {
            bool fired = true;
            for (long first = 1; fired; ++first) {
                for (int torn = 0; torn < TEARS && (torn == 0 || the_gate.tripped == "write"); ++torn) {
                    bool again = then != NO_SEQUEL;
                    for (long second = 1; second == 1 || again; ++second) {
                        long bytes = 0;
                        bool recorded = false;
                        prepare(op);
                        the_gate.no_side = no_side;
                        fired = die(op, first, torn, &bytes, &recorded);
                        const std::string tripped = the_gate.tripped;
                        reset_gate(directory);
                        if (fired && then == DEATH) {
                            long more = 0;
                            bool also = false;
                            again = die(op, second, static_cast<int>(second % TEARS), &more, &also);
                            bytes = std::max(bytes, more);
                            recorded = recorded || also;
                        } else if (fired && then == FAULT) {
                            again = fail(op, second, &bytes);
                        }
                        again = again && fired;
                        const std::string wrong = problem(op, bytes, recorded && op.kind == operation::WRITE);
                        EXPECT_TRUE(wrong.empty() || no_side)
                            << wrong << ": operation " << &op - operations << ", call " << first << " " << tripped
                            << ", torn " << torn << ", then call " << second;
                        losses += wrong.empty() ? 0 : 1;
                        points += fired ? 1 : 0;
                        the_gate.tripped = tripped;
                    }
                }
            }
        }
        return {points, losses};
    }
};

TEST_F(Interruption, FaultAtEveryCall)
{
    long points = 0;
    for (const operation &op : operations) {
        for (int variant = 0; variant < 16; ++variant) {
            bool fired = true;
            for (long trip = 1; fired; ++trip) {
                prepare(op);
                the_gate.trip = trip;
                the_gate.stays = (variant & 1) != 0;
                the_gate.torn = (variant & 2) != 0 ? HALF : NOTHING;
                const int errors[] = {0, EPERM, ENOENT, EMFILE};
                the_gate.error = errors[variant / 4];
                const int32_t result = gated([&] { return op.run(); });
                fired = the_gate.fired;
                const bool whole = result == static_cast<int32_t>(op.length) || op.kind == operation::READ;
                EXPECT_TRUE(!fired || whole || !the_gate.messages.empty());
                const std::string wrong = problem(op, std::max(result, 0), false);
                EXPECT_EQ(wrong, "") << "operation " << &op - operations << ", call " << trip << " " << the_gate.tripped
                                     << ", variant " << variant << ", result " << result;
                points += fired ? 1 : 0;
            }
        }
    }
    printf("%ld fault points\n", points);
}

TEST_F(Interruption, DeathAtEveryCall)
{
    printf("%ld stop points\n", crash_everywhere(NO_SEQUEL).first);
}

TEST_F(Interruption, DeathDuringRecovery)
{
    printf("%ld pairs of stop points\n", crash_everywhere(DEATH).first);
}

TEST_F(Interruption, FaultDuringRecovery)
{
    printf("%ld pairs of a stop point and a fault\n", crash_everywhere(FAULT).first);
}

// The sweep must be able to see a loss.
TEST_F(Interruption, WithoutSideFilesDeathLosesData)
{
    const auto [points, losses] = crash_everywhere(NO_SEQUEL, true);
    printf("%ld of %ld stop points lose data without side files\n", losses, points);
    EXPECT_GT(losses, 0);
}

// Every state that a block or a header could be found in, whether an
// interruption leads there or not.
TEST_F(Interruption, EveryState)
{
    enum { NONE, EMPTY, TORN, ZERO, OLD, NEW, OBJECTS };
    enum { NO_SIDE, MARKER, OTHER, SAME, TORN_SIDE, SIDES };
    long states = 0;
    for (const char *name : {"VORN_DATA_a_0", "VORN_HDR_a"}) {
        const bool header = name[5] == 'H';
        const std::string old = seal(header ? header_image(512, 0, 10) : text(512));
        const std::string fresh = seal(header ? header_image(512, 0, 20) : text(512, 2));
        const std::string torn = fresh.substr(0, fresh.size() - 16);
        const std::string contents[] = {"", "", torn, std::string(fresh.size(), '\0'), old, fresh};
        for (int object = NONE; object < OBJECTS; ++object) {
            for (int side = NO_SIDE; side < SIDES; ++side) {
                for (const char *action : {"read", "write", "remove", "create"}) {
                    prepare({operation::READ, 10, 0, 0});
                    unlink(path(name).c_str());
                    const std::string beside = path(std::string("VORN_OLD_") + name);
                    if (object != NONE)
                        put(name, contents[object]);
                    if (side == SAME && (object == NONE || link(path(name).c_str(), beside.c_str()) != 0))
                        continue;
                    if (side != NO_SIDE && side != SAME)
                        put(std::string("VORN_OLD_") + name, side == MARKER ? "" : side == OTHER ? old : torn);
                    ++states;
                    // What the object is, by all that stands there.
                    const int is = object >= OLD                                                           ? object
                                   : side == OTHER                                                         ? OLD
                                   : side == MARKER || object == NONE || (object == EMPTY && side == SAME) ? NONE
                                                                                                           : TORN;
                    const std::string state = std::string(name) + " object " + std::to_string(object) + " side " +
                                              std::to_string(side) + " " + action;
                    const int32_t missing = is == NONE ? -ENODATA : -1;
                    if (action[0] == 'r' && action[2] == 'a') {
                        const content now = read_all();
                        std::string bytes = is < OLD ? "" : text(10, !header && is == NEW ? 2 : 0);
                        bytes.resize(header && is == NEW ? 20 : bytes.size());
                        EXPECT_EQ(now.status, header && is < OLD ? missing : 0) << state;
                        EXPECT_EQ(now.bytes, bytes) << state;
                        EXPECT_TRUE(is < OLD || access(beside.c_str(), F_OK) != 0) << state;
                    } else if (action[0] == 'w') {
                        const int32_t expected = is >= OLD || (is == NONE && !header) ? 5 : header ? missing : 0;
                        EXPECT_EQ(write_a(0, "fresh"), expected) << state;
                        EXPECT_TRUE(expected != 5 || read_all().bytes.substr(0, 5) == "fresh") << state;
                    } else if (action[0] == 'c') {
                        const int32_t expected = !header || is >= OLD ? -EEXIST : is == NONE ? 0 : -1;
                        EXPECT_EQ(gated([] { return vorn_create("a", 512, 0); }), expected) << state;
                    }
                    const int32_t removed = gated([] { return vorn_remove("a"); });
                    if (!header || is >= OLD || is == TORN || action[0] == 'c')
                        EXPECT_TRUE(removed == 0 && files().empty()) << state << " leaves " << files().begin()->first;
                    else
                        EXPECT_EQ(removed, -ENODATA) << state;
                }
            }
        }
    }
    printf("%ld states\n", states);
}

}   // namespace
