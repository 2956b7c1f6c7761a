// Faults, kills and power cuts at every call.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
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

    // Whether a removal has warned that it may leave blocks behind.
    static bool removal_warned()
    {
        for (const std::string &message : the_gate.messages)
            if (message.find("W vorn_remove: ") == 0)
                return true;
        return false;
    }

    // What is wrong after `op` was cut short when `bytes` of the range were on
    // storage, and then with running it again and removing it; or "".
    std::string problem(const operation &op, long bytes, bool recorded)
    {
        const bool may_leave = removal_warned();
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

    // What is wrong after a removal was cut short, or "".
    std::string removal_problem()
    {
        const bool may_leave = removal_warned();
        reset_gate(directory);
        data_space_header header;
        if (vorn_read_header("a", &header) == 0 && write_a(header.data_size, "fresh") != 5)
            return "nothing can be appended";
        const int32_t removed = gated([] { return vorn_remove("a"); });
        return (removed == 0 || removed == -ENODATA) && (may_leave || files().empty()) ? ""
                                                                                       : "removal leaves something";
    }

    // Runs `op` with a fault of the machine at call `trip`. A final call of the
    // cipher that fails is not one: it tells of a damaged file.
    static bool fail(const operation &op, long trip, const char *broken, long *bytes)
    {
        the_gate.counted = FILE_CALL | SIDE_CALL | (*broken == '\0' ? MEMORY_CALL : 0);
        the_gate.trip = trip;
        the_gate.broken = broken;
        the_gate.error = EMFILE;
        *bytes = std::max<long>(*bytes, gated([&] { return op.run(); }));
        return the_gate.fired;
    }

    enum sequel { NO_SEQUEL, DEATH, FAULT, FAULT_ON_FULL_DISK, DEATH_IN_REMOVAL };

    // The crash sweep: die at each file call, with a write that is torn in each
    // way; then, as the sequel, run the same operation again and die at each of
    // its calls, or have each of them fail, or die in a removal. Returns how many
    // stop points there were and how many lost something.
    std::pair<long, long> crash_everywhere(sequel then, bool no_side = false)
    {
        long points = 0;
        long losses = 0;
        for (const operation &op : operations) {
            bool fired = true;
            for (long first = 1; fired; ++first) {
                for (int torn = 0; torn < TEARS && (torn == 0 || the_gate.tripped == "write"); ++torn) {
                    bool again = then != NO_SEQUEL;
                    for (long second = 1; again || second == 1; ++second) {
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
                        } else if (fired && then == DEATH_IN_REMOVAL) {
                            // With a fault some calls before, or none.
                            const long distance = second % 7;
                            long none = 0;
                            bool never = false;
                            the_gate.also = distance == 0 ? 0 : second / 7 + 1 - distance;
                            again = die({operation::REMOVE, 0, 0, 0}, second / 7 + 1, NOTHING, &none, &never);
                            again = again || distance != 0;
                        } else if (fired && then != NO_SEQUEL) {
                            again = fail(op, second, then == FAULT ? "" : "write", &bytes);
                        }
                        again = again && fired;
                        const std::string wrong = then == DEATH_IN_REMOVAL
                                                      ? removal_problem()
                                                      : problem(op, bytes, recorded && op.kind == operation::WRITE);
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
        for (size_t variant = 0; variant < 18; ++variant) {
            bool fired = true;
            for (long trip = 1; fired; ++trip) {
                prepare(op);
                the_gate.trip = trip;
                the_gate.span = std::array{1, 2, 1000}[variant % 3];
                the_gate.torn = std::array{NOTHING, HALF}[variant / 3 % 2];
                the_gate.error = std::array{0, EPERM, EMFILE}[variant / 6];
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

TEST_F(Interruption, DeathInRemoval)
{
    printf("%ld pairs of a stop point and one in a removal\n", crash_everywhere(DEATH_IN_REMOVAL).first);
}

TEST_F(Interruption, FaultDuringRecovery)
{
    printf("%ld pairs of a stop point and a fault\n", crash_everywhere(FAULT).first);
}

TEST_F(Interruption, FaultDuringRecoveryOnFullDisk)
{
    printf("%ld pairs of a stop point and a fault, on a full disk\n", crash_everywhere(FAULT_ON_FULL_DISK).first);
}

// The sweep must be able to see a loss.
TEST_F(Interruption, WithoutSideFilesDeathLosesData)
{
    const auto [points, losses] = crash_everywhere(NO_SEQUEL, true);
    printf("%ld of %ld stop points lose data without side files\n", losses, points);
    EXPECT_GT(losses, 0);
}

// A block or a header with what stands beside it.
struct state {
    enum { NONE, EMPTY, TORN, ZERO, OLD, NEW, OBJECTS };
    enum { NO_SIDE, MARKER, OTHER, SAME, TORN_SIDE, SIDES };
    std::string name;
    int object;
    int side;

    bool header() const { return name[5] == 'H'; }
    // What it counts as.
    int effective() const
    {
        return object >= OLD                                                           ? object
               : side == OTHER                                                         ? OLD
               : side == MARKER || object == NONE || (object == EMPTY && side == SAME) ? NONE
                                                                                       : TORN;
    }
};

class States : public Interruption {
protected:
    bool prepare_state(const state &is)
    {
        const std::string old = seal(is.header() ? header_image(512, 0, 10) : text(512));
        const std::string fresh = seal(is.header() ? header_image(512, 0, 20) : text(512, 2));
        const std::string torn = fresh.substr(0, fresh.size() - 16);
        const std::string contents[] = {"", "", torn, std::string(fresh.size(), '\0'), old, fresh};
        const std::string side = "VORN_OLD_" + is.name;
        prepare({operation::READ, 10, 0, 0});
        unlink(path(is.name).c_str());
        if (is.object != state::NONE)
            put(is.name, contents[is.object]);
        if (is.side == state::SAME)
            return link(path(is.name).c_str(), path(side).c_str()) == 0;
        if (is.side != state::NO_SIDE)
            put(side, is.side == state::MARKER ? "" : is.side == state::OTHER ? old : torn);
        return true;
    }

    static int32_t act(char action)
    {
        char room[512];
        return gated([&] {
            return action == 'w'   ? vorn_write("a", 0, 5, "fresh")
                   : action == 'c' ? vorn_create("a", 512, 0)
                   : action == 'd' ? vorn_remove("a")
                                   : vorn_read("a", 0, 512, room);
        });
    }

    void expect_result(const state &is, char action)
    {
        const std::string what =
            is.name + " " + std::to_string(is.object) + " " + std::to_string(is.side) + " " + action;
        const int now = is.effective();
        const bool good = now >= state::OLD;
        const int32_t missing = now == state::NONE ? -ENODATA : -1;
        std::string bytes = good ? text(10, !is.header() && now == state::NEW ? 2 : 0) : "";
        bytes.resize(is.header() && now == state::NEW ? 20 : bytes.size());
        const int32_t result = act(action);
        if (action == 'r') {
            EXPECT_EQ(result, is.header() && !good ? missing : static_cast<int32_t>(bytes.size())) << what;
            EXPECT_EQ(read_all().bytes, bytes) << what;
            EXPECT_TRUE(!good || files().count("VORN_OLD_" + is.name) == 0) << what;
        } else if (action == 'w') {
            EXPECT_EQ(result, good || (now == state::NONE && !is.header()) ? 5 : is.header() ? missing : 0) << what;
            EXPECT_EQ(read_all().bytes.substr(0, 5), result == 5 ? "fresh" : bytes.substr(0, 5)) << what;
        } else if (action == 'c') {
            EXPECT_EQ(result, !is.header() || good ? -EEXIST : now == state::NONE ? 0 : -1) << what;
        }
        const int32_t removed = action == 'd' ? result : act('d');
        const bool there = !is.header() || now != state::NONE || action == 'c';
        EXPECT_EQ(removed, there ? 0 : -ENODATA) << what;
        EXPECT_TRUE(!there || files().empty()) << what;
    }

    // What the object is for the store.
    int32_t load_status(const state &is)
    {
        backend_buffer *record = nullptr;
        const int32_t status = gated([&] {
            const int32_t loaded = backend_get_data(is.name.c_str(), &record);
            const loaded_object release(loaded == 0 ? record : nullptr);
            return loaded;
        });
        return status == 0 || status == BACKEND_ERR_ALIAS_STATE ? status : BACKEND_ERR_IO;
    }

    // With call `trip` failing, or a fault there and a death `then` calls later, the
    // action does what it does otherwise, or nothing.
    bool expect_no_loss(const state &is, char action, long trip, long span, long then = 0)
    {
        prepare_state(is);
        const content before = read_all();
        const int32_t was = load_status(is);
        prepare_state(is);
        act(action);
        const content after = read_all();
        const int32_t becomes = load_status(is);
        prepare_state(is);
        the_gate.also = then != 0 ? trip : 0;
        the_gate.dies = then != 0;
        the_gate.counted = FILE_CALL | SIDE_CALL | MEMORY_CALL;
        the_gate.trip = trip + then;
        the_gate.span = span;
        const int32_t result = act(action);
        const bool fired = the_gate.fired;
        const std::string what = the_gate.tripped;
        reset_gate(directory);
        const content now = read_all();
        const int32_t status = load_status(is);
        const bool same = now.status == before.status && now.bytes == before.bytes && status == was;
        const bool done = now.status == after.status && now.bytes == after.bytes && status == becomes;
        EXPECT_TRUE(same || done || action == 'd')
            << is.name << " " << is.object << " " << is.side << " " << action << ", call " << trip << " " << what
            << " and " << span - 1 << " more, result " << result << ": " << now.status << " " << now.bytes;
        return fired;
    }
};

TEST_F(States, AreSettled)
{
    long states = 0;
    long faults = 0;
    for (const char *name : {"VORN_DATA_a_0", "VORN_HDR_a"}) {
        for (int object = state::NONE; object < state::OBJECTS; ++object) {
            for (int side = state::NO_SIDE; side < state::SIDES; ++side) {
                for (const char action : {'r', 'w', 'c', 'd'}) {
                    const state is = {name, object, side};
                    if (!prepare_state(is))
                        continue;
                    expect_result(is, action);
                    ++states;
                    for (const long span : {1, 2}) {
                        for (long trip = 1; expect_no_loss(is, action, trip, span); ++trip)
                            ++faults;
                    }
                    for (const long then : {1, 2, 3, 4, 5, 6}) {
                        for (long trip = 1; expect_no_loss(is, action, trip, 1, then); ++trip)
                            ++faults;
                    }
                }
            }
        }
    }
    printf("%ld states, %ld faults in them\n", states, faults);
}

}   // namespace
