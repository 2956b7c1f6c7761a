// What a call makes of what it finds: states made by hand, refused calls, and
// what has once lost data.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "fixture.h"
#include "worlds.h"

namespace {

const std::string SIGN = "VORN_OLD_VORN_HDR_a";

// What stands at a name. SAME: the same file as the one that it was kept from.
enum thing { NONE, TORN, OLD, NEW, SMALL, FOREIGN, SAME };

// A data space of two blocks, of which the second may have changed, while the
// header grew from 700 bytes to 900.
struct state {
    std::string sign;
    thing header, block, kept_block, kept_header;

    bool is(const char *word) const { return sign.find(word) == 3; }
    bool grows() const { return sign.back() == '1'; }
};

bool good(thing is)
{
    return is == OLD || is == NEW;
}

// What a reader must see once the state is settled.
struct verdict {
    world seen;
    bool has_gap = false;        // the second block is missing or refused
    bool is_blocked = false;     // by a sign that cannot go
    bool is_deleted = false;     // the header was remains
    bool is_uncertain = false;   // what stands in the way keeps a verdict from being found
};

world shown(thing header, thing block)
{
    if (!good(header))
        return {header == NONE ? world::ABSENT : world::BROKEN, 512};
    const std::string second = block == NEW ? text(512, 2) : text(1024).substr(512);
    return {world::THERE, 512, 0, (text(512) + second).substr(0, header == OLD ? 700 : 900)};
}

verdict settle(const state &is)
{
    thing header = is.header;
    thing block = is.block;
    verdict now;
    const bool is_fault = header == FOREIGN || header == SMALL;
    const bool is_write = is.is("write 1 1") || is.is("write 1 2") || is.is("each");
    const bool has_header = good(header) || (is.grows() && good(is.kept_header));
    if (!is_fault && (is.is("remove 2") || (is.sign.empty() && !good(header)))) {
        now.is_deleted = header != NONE;
        header = NONE;
    } else if (!is_fault && is_write && has_header) {
        const thing kept = is.grows() ? is.kept_header : is.kept_block;
        const bool complete = is.is("each") || kept == NONE || (good(is.grows() ? header : block) && kept != SAME);
        now.is_uncertain = is.kept_block == FOREIGN && !(complete && good(block));
        if (!(complete && good(block)) && good(is.kept_block))
            block = is.kept_block;
        if (is.grows() && !(complete && good(header)) && good(is.kept_header))
            header = is.kept_header;
        now.is_blocked = is.kept_block == FOREIGN;
    }
    now.is_blocked = now.is_blocked || is.sign == "-> remove 02" || is.sign == "directory" ||
                     (is.sign == "-> write 1 7 0" && good(header));
    now.seen = shown(header, block);
    now.has_gap = now.seen.is == world::THERE && !good(block);
    return now;
}

class States : public DataDirectory {
protected:
    static std::string content(thing is, const std::string &old, const std::string &fresh)
    {
        return is == TORN      ? seal(fresh).substr(0, 100)
               : is == FOREIGN ? "directory"
               : is == SMALL   ? seal(text(100))
                               : seal(is == NEW ? fresh : old);
    }

    void prepare(const state &is)
    {
        snapshot made = {there(512).files("a"), {}};
        const auto add = [&](const std::string &name, thing what, const std::string &first, const std::string &old,
                             const std::string &fresh) {
            if (what == SAME && made.files.count(first) == 1)
                made.same[name] = first;
            if (what != NONE)
                made.files[name] = what == SAME ? "" : content(what, old, fresh);
        };
        made.files.erase("VORN_HDR_a");
        const std::string old_header = header_image(512, 0, 700);
        const std::string new_header = header_image(512, 0, 900);
        add("VORN_HDR_a", is.header, "", old_header, new_header);
        add("VORN_DATA_a_1", is.block, "", text(1024).substr(512), text(512, 2));
        add("VORN_OLD_VORN_DATA_a_1", is.kept_block, "VORN_DATA_a_1", text(1024).substr(512), "");
        add("VORN_OLD_VORN_DATA_a_2", is.kept_header, "VORN_HDR_a", old_header, "");
        if (is.sign != "none")
            made.files[SIGN] = is.sign;
        restore(made);
        reset_gate(root);
    }

    static std::string told(const state &is, const call &what)
    {
        return "sign '" + is.sign + "' header " + std::to_string(is.header) + " block " + std::to_string(is.block) +
               " kept " + std::to_string(is.kept_block) + " " + std::to_string(is.kept_header) + ", call " +
               std::to_string(what.kind);
    }

    static int32_t expected(const state &is, const verdict &now, const call &what)
    {
        if (is.header == SMALL && what.kind != call::CREATE && what.kind != call::REMOVE)
            return -5;
        const bool refused = now.is_blocked && (what.kind == call::WRITE || what.kind == call::CREATE);
        if (what.kind == call::REMOVE && now.is_deleted)
            return 0;
        if (refused && what.result(now.seen) >= 0)
            return what.kind == call::WRITE ? 0 : -1;
        return now.has_gap && what.kind == call::READ ? 512 : what.result(now.seen);
    }

    void expect_settled(const state &is, const call &what)
    {
        const verdict now = settle(is);
        prepare(is);
        const int32_t result = what.run();
        if (now.is_uncertain || (what.kind == call::REMOVE && is.header == FOREIGN))
            return;
        ASSERT_EQ(result, expected(is, now, what)) << told(is, what);
        const world after = result == what.result(now.seen) ? what.done(now.seen) : now.seen;
        const world seen = observe();
        ASSERT_EQ(seen.is, now.has_gap && after.is == world::THERE && !after.bytes.empty() ? world::RUIN : after.is)
            << told(is, what);
        ASSERT_EQ(seen.bytes, now.has_gap ? after.bytes.substr(0, 512) : after.bytes) << told(is, what);
        if (now.is_blocked)
            return;
        const bool is_ours = is.is("write") || is.is("each");
        const file_map left = files();
        if (good(is.header) && is.sign != "none") {
            ASSERT_EQ(left.count(SIGN), 0u) << told(is, what);
            ASSERT_FALSE(is_ours && left.count("VORN_OLD_VORN_DATA_a_1") == 1) << told(is, what);
            ASSERT_FALSE(is_ours && is.grows() && left.count("VORN_OLD_VORN_DATA_a_2") == 1) << told(is, what);
        }
    }
};

TEST_F(States, AreSettled)
{
    long states = 0;
    for (const char *sign : {"none", "", "-> write 1 1 0", "-> write 1 2 1", "-> each 1 1 0", "-> each 1 2 1",
                             "-> remove 2", "-> write 1 7 0", "-> remove 02", "directory"})
        for (const thing header : {NONE, TORN, OLD, NEW, SMALL, FOREIGN})
            for (const thing block : {NONE, TORN, OLD, NEW})
                for (const thing kept_block : {NONE, TORN, OLD, FOREIGN, SAME})
                    for (const thing kept_header : {NONE, TORN, OLD, SAME}) {
                        const state is = {sign, header, block, kept_block, kept_header};
                        if ((kept_block == SAME && block == NONE) || (kept_header == SAME && header != OLD) ||
                            (kept_header != NONE && !is.grows()))
                            continue;
                        for (const call &what : {call{call::READ}, call{call::WRITE, 0, 5}, call{call::CREATE, 512, 0},
                                                 call{call::REMOVE}}) {
                            expect_settled(is, what);
                            if (HasFatalFailure())
                                return;
                        }
                        ++states;
                    }
    printf("%ld states\n", states);
}

// Each of these has once lost data, or was found missing.
class Lessons : public DataDirectory {
protected:
    int32_t disturbed(const call &what, const disturbance &how)
    {
        the_gate.set = how;
        const int32_t result = what.run();
        EXPECT_TRUE(the_gate.fired || how.trip == 0);
        reset_gate(root);
        return result;
    }

    void kill(const call &what, const char *only, long nth) { disturbed(what, {FILES, only, nth, 1, 0, true}); }

    // Faults, by name of the call.
    void refuse(const std::map<std::string, int> &calls) { the_gate.on.refused = calls; }

    static call write(uint32_t offset, uint32_t length) { return {call::WRITE, offset, length}; }
};

TEST_F(Lessons, KeptVersionsOfARemovedDataSpaceStayAway)
{
    start(there(2000).files("a"));
    kill(write(0, 2000), "write", 2);
    put("VORN_HDR_a", "damaged");
    unlink(path("VORN_DATA_a_1").c_str());
    EXPECT_EQ(call{call::REMOVE}.run(), 0);
    EXPECT_EQ((call{call::CREATE, 512, 0}.run()), 0);
    kill(write(0, 2000), "write", 5);
    const world seen = observe();
    EXPECT_TRUE(seen.bytes.empty() || seen.bytes == text(2000, 2)) << seen.bytes.size();
}

TEST_F(Lessons, TheSignStaysWhileAKeptVersionStays)
{
    start(there(700).files("a"));
    kill(write(600, 500), "write", 3);
    refuse({{"unlinkat", EIO}});
    EXPECT_EQ(call{}.run(), 700);
    EXPECT_EQ(files().count(SIGN), 1u);
    EXPECT_EQ(write(0, 5).run(), 0);
    reset_gate(root);
    EXPECT_EQ(call{}.run(), 700);
    expect_files(there(700).files("a"));
}

TEST_F(Lessons, AHeaderMayBeASymbolicLink)
{
    file_map linked = there(700).files("a");
    linked["elsewhere"] = linked["VORN_HDR_a"];
    linked["VORN_HDR_a"] = "-> elsewhere";
    for (long at = 1; at == 1 || the_gate.fired; ++at) {
        start(linked);
        the_gate.set = {CHANGE, nullptr, at, 1, 0, true};
        write(600, 500).run();
        const bool fired = the_gate.fired;
        the_gate.set = {};
        const world seen = observe();
        EXPECT_TRUE(seen.shows(there(700)) || seen.shows(write(600, 500).done(there(700)))) << at;
        the_gate.fired = fired;
    }
}

TEST_F(Lessons, AFlushThatFailsIsNotIgnored)
{
    start(there(2000).files("a"));
    refuse({{"fsync", EIO}});
    EXPECT_EQ(disturbed(write(0, 1200), {FILES, "write", 2}), 0);
    EXPECT_TRUE(there(2000).shows(observe()));
    expect_files(there(2000).files("a"));
    for (const call &what : {write(0, 1200), call{call::CREATE, 512, 1}}) {
        start(there(700).files("a"));
        the_gate.on.file_system = BTRFS;
        refuse({{"fsync", EIO}});
        EXPECT_LE(what.run(), 0);
        EXPECT_EQ(the_gate.reason, EIO);
        refuse({{"fsync", EINVAL}});
        EXPECT_EQ(what.run(), what.result(there(700)));
    }
}

TEST_F(Lessons, AStaleVersionNeverBecomesAMissingBlock)
{
    file_map gap = there(2000).files("a");
    gap.erase("VORN_DATA_a_1");
    gap["VORN_OLD_VORN_DATA_a_1"] = seal(text(512, 7));
    start(gap);
    refuse({{"fsync", EIO}});
    EXPECT_EQ(disturbed(write(0, 1200), {FILES, "write", 2}), 0);
    EXPECT_EQ(observe().bytes, text(512));
}

TEST_F(Lessons, AForgedHeaderKeepsNobodyWaiting)
{
    for (const char *sign : {"none", "-> remove 4294967295", "-> write 8388607 8388608 1", "-> write 0 4294967295 0",
                             "-> each 5 8388609 1"}) {
        file_map forged = {{"VORN_HDR_a", seal(header_image(512, 0, 4294967295))}};
        if (sign[0] == '-')
            forged[SIGN] = sign;
        start(forged);
        EXPECT_EQ(call{}.run(), 0);
        EXPECT_LT(the_gate.system, 100) << sign;
        EXPECT_EQ(the_gate.reason, ENOENT);
        write(0, 5).run();
        EXPECT_LT(the_gate.system, 100) << sign;
    }
}

TEST_F(Lessons, LinksNeedRoomAndAKnownFileSystem)
{
    for (const machine &on : {machine{}, {"", false, {}, STRANGE}, {"", false, {}, TMPFS, true}})
        for (const call &what : {write(100, 50), write(100, 700), write(700, 50)}) {
            start(there(700).files("a"));
            the_gate.on = on;
            EXPECT_EQ(what.run(), what.result(there(700)));
            const auto is_link = [](const std::string &traced) { return traced.rfind("link ", 0) == 0; };
            const auto links = std::count_if(the_gate.trace.begin(), the_gate.trace.end(), is_link);
            EXPECT_EQ(links > 0, on.whole) << on.file_system << on.full << what.first;
        }
}

// No version is kept of a block that the header does not count.
TEST_F(Lessons, AnUncountedBlockMayBeInTheWay)
{
    file_map more = there(700).files("a");
    more["VORN_DATA_a_2"] = seal(text(512, 7));
    start(more);
    EXPECT_EQ(disturbed(write(600, 600), {FILES, "write", 2}), 424);
    EXPECT_EQ(observe().bytes, write(600, 424).done(there(700)).bytes);
    EXPECT_EQ(files().count(SIGN), 0u);
}

TEST_F(Lessons, AFullDirectoryKeepsNobodyWaiting)
{
    start(there(700).files("a"));
    for (int i = 0; i < 50000; ++i)
        close(creat(path("VORN_DATA_b_" + std::to_string(i)).c_str(), 0600));
    EXPECT_EQ(call{}.run(), 700);
    EXPECT_LT(the_gate.system, 30);
    EXPECT_EQ(call{call::REMOVE}.run(), 0);
    EXPECT_LT(the_gate.system, 30);
}

TEST_F(Lessons, ADirectoryAtAKeptNameIsNamedAndInTheWay)
{
    file_map foreign = there(700).files("a");
    foreign["VORN_OLD_VORN_DATA_a_1"] = "directory";
    for (const char *links : {"link", "nothing"}) {
        start(foreign);
        refuse({{links, EPERM}});
        EXPECT_EQ(write(600, 50).run(), 0);
        EXPECT_NE(the_gate.messages.at(0).find("DIR/VORN_OLD_VORN_DATA_a_1"), std::string::npos)
            << the_gate.messages.at(0);
        EXPECT_EQ(the_gate.reason, EISDIR);
        expect_files(foreign);
    }
    rmdir(path("VORN_OLD_VORN_DATA_a_1").c_str());
    EXPECT_EQ(write(600, 50).run(), 50);
}

TEST_F(Lessons, ACreationLooksForASign)
{
    for (const char *sign : {"-> remove 02", "directory"}) {
        for (const world &was : {there(700), world()}) {
            file_map foreign = was.files("a");
            foreign[SIGN] = sign;
            start(foreign);
            refuse({{"mknod", EPERM}});
            EXPECT_EQ((call{call::CREATE, 512, 1}.run()), -1);
            expect_files(foreign);
            EXPECT_NE(the_gate.messages.back().find("DIR/" + SIGN), std::string::npos);
        }
    }
}

// Where nobody may look or link, there is no protection, but all works.
TEST_F(Lessons, ASandboxMayForbidTheProtection)
{
    for (const int error : {EPERM, ENOSYS}) {
        start({});
        refuse({{"lstat", error}, {"symlink", error}, {"mknod", error}, {"link", error}, {"open sign", error}});
        EXPECT_EQ((call{call::CREATE, 512, 0}.run()), 0);
        EXPECT_EQ(write(0, 700).run(), 700);
        EXPECT_EQ(write(300, 700).run(), 700);
        EXPECT_EQ(call{}.run(), 1000);
        EXPECT_EQ(call{call::REMOVE}.run(), 0);
        expect_files(file_map());
    }
}

// Every answer of the calls that protect: the change is refused, or goes on in
// another way, and nothing is lost, also when the disk is full.
TEST_F(Lessons, NoAnswerLosesData)
{
    const int answers[] = {EACCES, EBADF,  EBUSY,  EDQUOT,    EEXIST,  EFAULT,    EINTR,
                           EINVAL, EIO,    EISDIR, ELOOP,     EMFILE,  EMLINK,    ENAMETOOLONG,
                           ENOENT, ENOMEM, ENOSPC, ENOSYS,    ENOTDIR, ENOTEMPTY, EOPNOTSUPP,
                           EPERM,  EROFS,  ESTALE, ETIMEDOUT, EUCLEAN, EXDEV,     524};
    const std::map<std::string, std::set<int>> refusing = {
        {"link", {EEXIST, EIO, ENOSPC, EDQUOT, ENOMEM}},
        {"symlink", {EEXIST, EIO, ENOSPC, EDQUOT, ENOMEM, EINTR}},
        {"rename", std::set<int>(std::begin(answers), std::end(answers))},
    };
    const std::set<int> impossible = {EPERM, EACCES, EROFS, ENOSYS, EOPNOTSUPP, ENOENT, ENOTDIR};
    for (const int answer : answers) {
        start(there(700).files("a"));
        refuse({{"symlink", answer}, {"open sign", answer}});
        EXPECT_EQ(write(100, 1100).run(), impossible.count(answer) == 1 ? 1100 : 0) << answer;
    }
    for (const auto &[name, refusals] : refusing)
        for (const int answer : answers)
            for (const bool full : {false, true}) {
                start(there(700).files("a"));
                refuse({{name, answer}, {"link", name == "rename" ? EPERM : answer}});
                if (name == "symlink")
                    the_gate.on.refused.erase("link");
                if (full)
                    the_gate.on.refused["write"] = ENOSPC;
                const call what = write(100, 1100);
                const int32_t result = what.run();
                EXPECT_EQ(result, refusals.count(answer) == 1 || full ? 0 : 1100) << name << " " << answer;
                EXPECT_EQ(the_gate.reason == 0, result == 1100) << name << " " << answer;
                reset_gate(root);
                EXPECT_TRUE((result == 0 ? there(700) : what.done(there(700))).shows(observe()))
                    << name << " " << answer;
                EXPECT_EQ(files().count(SIGN), 0u) << name << " " << answer;
            }
}

}   // namespace
