// What has once lost data, and refused calls.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "fixture.h"
#include "worlds.h"

namespace {

const std::string SIGN = "VORN_OLD_VORN_HDR_a";

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
    start({{SIGN, "-> write 0 1 0"}, {"VORN_OLD_VORN_DATA_a_1", seal(text(512))}});
    EXPECT_EQ((call{call::CREATE, 512, 0}.run()), 0);
    EXPECT_EQ(listing(files()), "VORN_HDR_a ");
}

// Where the last block is missing, nothing would tell that the others must go back.
TEST_F(Lessons, TheTellerMayBeMissing)
{
    file_map was = there(1200).files("a");
    was.erase("VORN_DATA_a_1");
    start(was);
    kill(write(0, 1024), "write", 1);
    EXPECT_EQ(observe().bytes, text(512));
}

TEST_F(Lessons, AStaleVersionIsInNobodysWay)
{
    start(there(700).files("a"));
    EXPECT_EQ(link(path("VORN_DATA_a_1").c_str(), path("VORN_OLD_VORN_DATA_a_1").c_str()), 0);
    refuse({{"link", EPERM}});
    EXPECT_EQ(write(600, 50).run(), 50);
    expect_files(write(600, 50).done(there(700)).files("a"));
}

// The killed call leaves a gap at block 0, and the removal cannot read the header.
TEST_F(Lessons, ARemovalGoesOnBehindAGap)
{
    for (const bool removes : {false, true}) {
        start(there(2000).files("a"));
        removes ? kill({call::REMOVE}, "unlink", 2) : kill(write(0, 2000), "open", 3);
        EXPECT_EQ(files().count("VORN_DATA_a_0"), 0u);
        EXPECT_EQ(disturbed({call::REMOVE}, {MEMORY, "realloc", 1}), 0);
        expect_files(file_map());
    }
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
    const std::string next = path("VORN_OLD_VORN_DATA_a_16777215");   // a sign that was being made
    EXPECT_EQ(symlink("remove 2", next.c_str()), 0);
    EXPECT_EQ(call{}.run(), 700);
    expect_files(there(700).files("a"));
    EXPECT_EQ(symlink("remove 2", next.c_str()), 0);
    EXPECT_EQ(call{call::REMOVE}.run(), 0);
    expect_files(file_map());
}

TEST_F(Lessons, ARemovalThatFailsIsOver)
{
    start(there(700).files("a"));
    EXPECT_EQ(disturbed({call::REMOVE}, {FILES, "unlink", 3}), -1);
    EXPECT_EQ(observe().is, world::RUIN);
    EXPECT_EQ(listing(files()), "VORN_HDR_a ");
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

// Nor does a stale version become a block that is missing.
TEST_F(Lessons, AFlushThatFailsIsNotIgnored)
{
    for (const bool has_gap : {false, true}) {
        file_map was = there(2000).files("a");
        if (has_gap) {
            was.erase("VORN_DATA_a_1");
            was["VORN_OLD_VORN_DATA_a_1"] = seal(text(512, 7));
        }
        start(was);
        refuse({{"fsync", EIO}});
        EXPECT_EQ(disturbed(write(0, 1200), {FILES, "write", 2}), 0);
        EXPECT_EQ(observe().bytes, text(has_gap ? 512 : 2000));
    }
    for (const char *also : {"mknod", "nothing"})
        for (const call &what : {write(0, 1200), call{call::CREATE, 512, 1}}) {
            start(there(700).files("a"));
            the_gate.on.file_system = BTRFS;
            refuse({{"fsync", EIO}, {also, EPERM}});
            EXPECT_LE(what.run(), 0);
            EXPECT_EQ(the_gate.reason, EIO);
            refuse({{"fsync", EINVAL}, {also, EPERM}});
            EXPECT_EQ(what.run(), what.result(there(700)));
        }
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
    EXPECT_EQ(files().count(SIGN) + files().count("VORN_DATA_a_2"), 0u);
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

// Where nobody may make anything beside the files, there is no protection, but all works.
TEST_F(Lessons, ASandboxMayForbidTheProtection)
{
    for (const int error : {EPERM, ENOSYS}) {
        start({});
        refuse({{"symlink", error}, {"mknod", error}, {"link", error}, {"open sign", error}});
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
        {"link", {EEXIST, EIO, ENOSPC, EDQUOT, ENOMEM, EINTR}},
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
                if (name == "link" && answer == ENOENT)
                    continue;   // the object is missing
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
