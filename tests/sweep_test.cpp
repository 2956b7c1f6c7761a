// Calls that are killed, cut or hit by faults, at each of their steps.
//
// $VORN_TEST_EVERY says how thorough the sweeps are that disturb twice: 1 takes
// every pair of steps, 30 (without it) about every thirtieth. Above 100, for slow
// machines, there are fewer kinds of machines in all sweeps.

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>

#include "fixture.h"
#include "play.h"

namespace {

const machine machines[] = {
    {"links"},
    {"no links", false, {{"link", EPERM}}},
    {"no symbolic links", true, {{"symlink", EPERM}}},
    {"neither", false, {{"link", EXDEV}, {"symlink", EOPNOTSUPP}}},
    {"unknown file system", false, {}, STRANGE},
    {"no order", true, {}, BTRFS},
    {"no room", false, {}, TMPFS, true},
};

// How calls fail: how many of them, whether a part of a write is done, and why.
const disturbance kinds_of_faults[] = {
    {FILES, nullptr, 0, 1, 0, false, NOTHING, EMFILE},
    {FILES, nullptr, 0, 1, 0, false, HALF},
    {FILES, nullptr, 0, 2, 0, false, NOTHING, EPERM},
    {FILES, nullptr, 0, 1000},
    {FILES, nullptr, 0, 1000, 0, false, HALF, EMFILE},
    {MEMORY | CRYPTO, nullptr, 0, 1},
    {MEMORY | CRYPTO, nullptr, 0, 1000},
};

struct operation {
    world before;
    call what;
};

const operation operations[] = {
    {world(), {call::CREATE, 512, 0}},
    {there(700), {call::CREATE, 1024, 1}},
    {{world::BROKEN, 512, 0, text(700)}, {call::CREATE, 512, 1}},
    {there(0), {call::WRITE, 0, 700}},
    {there(700), {call::WRITE, 700, 1300}},
    {there(1024), {call::WRITE, 1024, 5}},
    {there(2000), {call::WRITE, 100, 1436}},
    {there(700), {call::WRITE, 100, 50}},
    {there(700), {call::WRITE, 100, 1100}},
    {there(700), {call::REMOVE}},
    {there(0), {call::REMOVE}},
    {{world::BROKEN, 512, 0, text(700)}, {call::REMOVE}},
    {there(700), {call::READ, 0, 8192}},
};

std::string told(const world &is)
{
    std::string all = std::array{"absent", "broken", "there", "ruin"}[is.is];
    for (size_t at = 0; at < is.bytes.size(); at += 100)
        all += is.bytes[at] == text(at + 1)[at] ? " old" : " new";
    return all + " " + std::to_string(is.bytes.size());
}

// Whatever befalls a call, and what is then found wrong.
class Sweep : public DataDirectory {
protected:
    void prepare(const world &was)
    {
        file_map files = was.files("a");
        files.insert(neighbour.begin(), neighbour.end());
        restore({files, {}});
    }

    int32_t disturbed(const call &what, const disturbance &how)
    {
        const gate hooks = the_gate;
        reset_gate(root, on);
        the_gate.before_change = hooks.before_change;
        the_gate.after_flush = hooks.after_flush;
        the_gate.set = how;
        return what.run();
    }

    void wrong(const std::string &what)
    {
        ++found;
        if (!control && found <= 5)
            ADD_FAILURE() << what << "; on a machine with " << on.name << ", " << context;
    }

    // Whether the same state has been looked at before, with the same expectation.
    bool is_known(const snapshot &is, const worlds &allowed, const std::string &more)
    {
        std::string all = on.name + more;
        for (const auto &[name, content] : is.files)
            all += name + content;
        for (const auto &[name, first] : is.same)
            all += name + first;
        for (const world &w : allowed)
            all += told(w);
        return !known.insert(std::hash<std::string>()(all)).second;
    }

    // Reads what is there. It must be allowed, and nothing may be left behind; when
    // `loose`, uncounted blocks may.
    world look(const worlds &allowed, bool loose = false)
    {
        reset_gate(root, on);
        const world seen = observe();
        worlds shown;
        for (const world &is : allowed)
            if (is.shows(seen))
                shown.insert(is);
        ++looks;
        if (shown.empty())
            wrong("shows " + told(seen) + " for " + told(*allowed.rbegin()));
        else if (!std::any_of(shown.begin(), shown.end(), [&](const world &is) { return tidy(is, loose); }))
            wrong("leaves something behind in " + told(seen) + ": " + listing(files()));
        return shown.empty() ? *allowed.begin() : *shown.begin();
    }

    bool tidy(const world &is, bool loose) const
    {
        file_map left = files();
        file_map wanted = is.files("a");
        if (is.is == world::RUIN)
            return true;
        left.erase("VORN_OLD_VORN_DATA_a_16777215");   // a sign's text on its way; a removal drops it
        for (const auto &[name, content] : neighbour)
            if (left[name] != content)
                return false;
            else
                left.erase(name);
        for (const auto &[name, content] : left)
            if (wanted.count(name) == 0 ? !loose || name.find("VORN_DATA") != 0
                                        : name == "VORN_HDR_a" && content != wanted[name])
                return false;
        return true;
    }

    // The call runs as ever, and so does a removal, which leaves nothing.
    void use(const call &what, const world &seen, bool loose = false)
    {
        const int32_t result = disturbed(what, {});
        if (result != what.result(seen) && seen.is != world::RUIN)
            wrong("the call then gives " + std::to_string(result));
        else if (seen.is != world::RUIN)
            look({what.done(seen)}, loose);
        const int32_t removed = disturbed({call::REMOVE}, {});
        if (removed != 0 && removed != -61)
            wrong("a removal then gives " + std::to_string(removed));
        if (!loose && files() != neighbour)
            wrong("a removal then leaves something behind: " + listing(files()));
    }

    // A slow machine sweeps only the first two.
    std::vector<machine> swept() const
    {
        return {std::begin(machines), every > 100 ? machines + 2 : std::end(machines)};
    }

    // Kills `what` before each of its changes, with each tear of a write.
    template <typename Check>
    void kill_everywhere(const operation &op, Check check)
    {
        for (long at = 1;; ++at) {
            for (int torn = NOTHING; torn < TEARS; ++torn) {
                prepare(op.before);
                disturbed(op.what, {CHANGE, nullptr, at, 1, 0, true, torn});
                if (!the_gate.fired)
                    return;
                if (torn != NOTHING && the_gate.tripped != "write")
                    break;
                ++points;
                context = place(op, "killed at change", at) + ", tear " + std::to_string(torn);
                check();
            }
        }
    }

    static std::string place(const operation &op, const char *what, long at)
    {
        return "operation " + std::to_string(&op - operations) + " " + what + " " + std::to_string(at) + " " +
               the_gate.tripped;
    }

    long step() { return 1 + static_cast<long>(random() % static_cast<unsigned long>(every)); }

    void report(const char *what) const { printf("%ld %s, %ld looks, %ld wrong\n", points, what, looks, found); }

    const long every = getenv("VORN_TEST_EVERY") != nullptr ? std::max(1, atoi(getenv("VORN_TEST_EVERY"))) : 30;
    const file_map neighbour = there(600).files("a_1");
    std::set<size_t> known;
    std::mt19937 random{20240229};
    machine on;
    bool control = false;
    std::string context;
    long points = 0;
    long looks = 0;
    long found = 0;
};

// Without a sign the sweep must see that data is lost.
TEST_F(Sweep, WithoutASignAKillLosesData)
{
    control = true;
    on = {"no sign", true, {{"symlink", EPERM}, {"mknod", EPERM}, {"open sign", EPERM}, {"rename sign", EPERM}}};
    for (const operation &op : operations)
        kill_everywhere(op, [&] { look(op.what.killed(op.before, true)); });
    report("stop points without a sign");
    EXPECT_GT(found, 20);
}

class Again : public Sweep {
protected:
    // What the second call finds is settled by then: a first read shows the verdict.
    void disturb_next(const operation &op, const worlds &allowed)
    {
        const snapshot left = take();
        const world seen = look(allowed);
        const std::string first = context;
        if (is_known(left, allowed, "next"))
            return;
        use(op.what, seen);
        for (const call &next : {call{call::READ}, op.what, call{call::REMOVE}, call{call::CREATE, 512, 1}}) {
            for (const bool dies : {true, false}) {
                for (long at = step();; at += every) {
                    restore(left);
                    const disturbance how = {dies ? CHANGE : FAULTS,    nullptr, at, 1, 0, dies,
                                             dies ? int(at % TEARS) : 0};
                    const int32_t result = disturbed(next, how);
                    if (!the_gate.fired)
                        break;
                    ++points;
                    context = first + ", then " + std::to_string(next.kind) + (dies ? " killed" : " failing") + " at " +
                              std::to_string(at) + " " + the_gate.tripped;
                    check(next, seen, dies ? next.killed(seen, on.whole) : next.failed(seen, result), result, !dies);
                }
            }
        }
    }

    void check(const call &next, const world &seen, const worlds &allowed, int32_t result, bool loose)
    {
        if (is_known(take(), allowed, std::to_string(loose)))
            return;
        if (next.kind == call::READ && loose && result > 0 && seen.bytes.find(bytes_read) != next.first)
            wrong("a read delivers what was never there");
        look(allowed, loose);
        const int32_t removed = disturbed({call::REMOVE}, {});
        if (removed != 0 && removed != -61)
            wrong("a removal then gives " + std::to_string(removed));
    }
};

TEST_F(Again, KillOrFaultInWhatComesNext)
{
    for (const machine &each : swept()) {
        on = each;
        for (const operation &op : operations)
            kill_everywhere(op, [&] { disturb_next(op, op.what.killed(op.before, on.whole)); });
    }
    report("pairs of a stop point and another, or a fault");
}

class Faults : public Sweep {
protected:
    // Runs the call, and keeps what a power cut may leave of it: what was there at
    // any moment since the last flush.
    int32_t recorded(const operation &op, const disturbance &how)
    {
        moments.clear();
        prepare(op.before);
        the_gate.before_change = [this] { moments.push_back(take()); };
        the_gate.after_flush = [this] { moments.clear(); };
        const int32_t result = disturbed(op.what, how);
        the_gate.before_change = the_gate.after_flush = nullptr;
        return result;
    }

    // The reason of a result that is not the usual one.
    void expect_reason(const operation &op, const disturbance &how, int32_t result)
    {
        const bool as_ever = result == op.what.result(op.before);
        if (!as_ever && the_gate.messages.empty())
            wrong("says nothing of its failure");
        if (as_ever || how.span != 1 || how.torn != NOTHING || how.error == 0)
            return;
        const bool from_system = the_gate.system == 0 || (how.counted & (MEMORY | CRYPTO)) == 0;
        if (from_system ? the_gate.reason != how.error : the_gate.reason == 0 || the_gate.reason == EDOM)
            wrong("gives reason " + std::to_string(the_gate.reason) + " with result " + std::to_string(result));
    }

    void check(const operation &op, const disturbance &how, int32_t result)
    {
        const worlds allowed = op.what.failed(op.before, result);
        const bool loose = how.trip != 0 && (op.what.kind == call::WRITE || how.span > 1 || how.also != 0);
        const std::string number = std::to_string(&op - operations);
        if (!is_known(take(), allowed, number + (loose ? " used loosely" : " used")))
            use(op.what, look(allowed, loose), loose);
        const bool is_promised = op.what.kind == call::WRITE ? result > 0 : result == 0;
        const bool is_removed = op.what.kind == call::REMOVE;
        if (!is_promised || (is_removed && how.trip != 0) || (how.trip == 0 && !on.whole))
            return;
        worlds later = on.whole ? allowed : op.what.killed(op.before, false);
        if (is_removed)
            later.insert(op.before);
        for (const snapshot &moment : moments) {
            ++cuts;
            if (is_known(moment, later, number + " cut"))
                continue;
            restore(moment);
            look(later, loose);
        }
    }

    std::vector<snapshot> moments;
    long cuts = 0;
};

TEST_F(Faults, AtEachCall)
{
    for (const machine &each : swept()) {
        on = each;
        for (const operation &op : operations) {
            context = "undisturbed";
            check(op, {}, recorded(op, {}));
            for (disturbance how : kinds_of_faults)
                for (how.trip = 1;; ++how.trip) {
                    const int32_t result = recorded(op, how);
                    if (!the_gate.fired)
                        break;
                    ++points;
                    context = place(op, "failing at", how.trip) + ", " + std::to_string(how.span) + " of them";
                    expect_reason(op, how, result);
                    check(op, how, result);
                }
        }
    }
    report("faults");
    printf("%ld cuts\n", cuts);
}

TEST_F(Faults, ThenAnotherOrAKillInTheSameCall)
{
    for (const machine &each : swept()) {
        on = each;
        for (const operation &op : operations)
            for (const bool dies : {false, true})
                for (int apart = 1; apart <= 6; ++apart)
                    for (long at = step();; at += every) {
                        const disturbance how = {
                            FILES | MEMORY, nullptr, at + apart, 1, at, dies, dies ? int(at % TEARS) : 0};
                        const int32_t result = recorded(op, how);
                        if (!the_gate.fired)
                            break;
                        ++points;
                        context = place(op, dies ? "killed at" : "failing at", at + apart) + ", failing before at " +
                                  std::to_string(at);
                        worlds allowed = op.what.killed(op.before, false);
                        if (op.what.kind != call::WRITE)
                            allowed.merge(worlds{world(), {world::RUIN}});
                        if (dies)
                            look(allowed, true);
                        else
                            check(op, how, result);
                    }
    }
    report("pairs of faults, or of a fault and a kill");
}

// Calls one after the other, whatever befalls them, as the bytes of a die say.
TEST_F(Sweep, IsAlwaysInAWorldThatMayBe)
{
    for (; points < 6000 / every && found == 0; ++points) {
        std::vector<uint8_t> bytes(1000);
        std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<uint8_t>(random()); });
        const std::string problem = play(*this, {bytes.data(), bytes.size()});
        if (!problem.empty())
            wrong(problem + ", in game " + std::to_string(points));
    }
    report("games");
}

}   // namespace
