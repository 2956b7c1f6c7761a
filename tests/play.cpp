#include "play.h"

#include <algorithm>

#include "gate.h"

uint32_t dice::below(uint32_t limit)
{
    uint32_t number = 0;
    for (uint32_t room = limit - 1; room > 0 && left > 0; room >>= 8, --left)
        number = number << 8 | *next++;
    return number % limit;
}

namespace {

// With at most so many blocks as anybody would wait for.
std::string header(dice *roll)
{
    const uint32_t block_size = roll->below(2) == 0 ? 512 : roll->number(32);
    const uint64_t most = uint64_t{1000} * std::max(block_size, 512u);
    return header_image(block_size, roll->number(32),
                        static_cast<uint32_t>(std::min<uint64_t>(roll->number(32), most)));
}

std::string object(dice *roll)
{
    std::string bytes(roll->number(11), '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(roll->below(256)); });
    const uint32_t kind = roll->below(6);
    if (!bytes.empty())
        bytes[0] = static_cast<char>(bytes[0] | 0x40);   // no "-> "
    return kind == 0 ? bytes : kind == 1 ? encrypt(bytes) : kind == 2 ? seal(header(roll)) : seal(bytes);
}

std::string sign(dice *roll)
{
    const char *words[] = {"write", "each", "remove", "", "directory"};
    std::string text = words[roll->below(5)];
    if (text == "directory" || text.empty())
        return text;
    for (int i = text == "remove" ? 1 : 3; i > 0; --i)
        text += " " + std::to_string(roll->number(3));
    return roll->below(2) == 0 ? "-> " + text : text + "\n";
}

file_map forged(dice *roll)
{
    file_map made;
    if (roll->below(8) != 0)
        made["VORN_HDR_a"] = roll->below(4) == 0 ? object(roll) : seal(header(roll));
    for (const char *name : {"VORN_DATA_a_0", "VORN_DATA_a_1", "VORN_DATA_a_2", "VORN_OLD_VORN_DATA_a_0",
                             "VORN_OLD_VORN_DATA_a_1", "VORN_OLD_VORN_DATA_a_2"})
        if (roll->below(2) == 0)
            made[name] = object(roll);
    if (roll->below(2) == 0)
        made["VORN_OLD_VORN_HDR_a"] = sign(roll);
    return made;
}

call any_call(dice *roll, const world &now)
{
    const uint32_t kind = roll->below(20);
    call next = {kind < 10 ? call::WRITE : call::READ, roll->below(static_cast<uint32_t>(now.bytes.size()) + 20),
                 1 + roll->number(12), static_cast<int>(roll->below(3))};
    if (kind == 18)
        return {call::REMOVE};
    return kind > 14 ? call{call::CREATE, 512 * roll->number(4), roll->number(2)} : next;
}

disturbance any_disturbance(dice *roll)
{
    const bool dies = roll->below(2) == 0;
    const long trip = roll->below(2) == 0 ? 0 : 1 + roll->below(dies ? 16 : 60);
    return {dies ? CHANGE : FILES | MEMORY, nullptr, trip, roll->below(4) == 0 ? 3 : 1, 0, dies,
            int(roll->below(TEARS))};
}

bool is_possible(const call &what, int32_t result)
{
    static const std::set<int32_t> refusals[] = {
        {-22, -17, -12, -1}, {-22, -61, -1, -5, -34, -12}, {-22, -61, -1}, {-22, -61, -1, -5, -34}};
    const int64_t most = what.kind == call::READ || what.kind == call::WRITE ? what.second : 0;
    return result < 0 ? refusals[what.kind].count(result) == 1 : result <= most;
}

// What may be seen after a call. Where files were forged, blocks that no header
// counts may stop a write.
worlds after(const call &what, const world &was, int32_t result, bool is_forged)
{
    const bool replaces = what.kind == call::CREATE || what.kind == call::REMOVE;
    if (!the_gate.dead && result == 0 && replaces)
        return {what.kind == call::CREATE ? world{world::THERE, what.first, what.second, ""} : world()};
    if (was.is == world::RUIN)
        return {was};
    return the_gate.dead ? what.killed(was, the_gate.on.whole && !is_forged) : what.failed(was, result);
}

}   // namespace

std::string play(const directory &where, dice roll)
{
    const machine machines[] = {
        {"links"}, {"no links", false, {{"link", EPERM}}}, {"no symbolic links", true, {{"symlink", EPERM}}}};
    const machine &on = machines[roll.below(3)];
    const bool is_forged = roll.below(2) == 0;
    where.restore({is_forged ? forged(&roll) : file_map(), {}});
    worlds may = {is_forged ? world{world::RUIN} : world()};
    while (roll.left > 0) {
        reset_gate(where.root, on);
        the_gate.most_memory = 1 << 20;   // a small device
        const world seen = observe();
        const auto now = std::find_if(may.begin(), may.end(), [&](const world &is) { return is.shows(seen); });
        if (now == may.end())
            return "what is seen cannot be";
        const world was = *now;
        const call next = any_call(&roll, was);
        the_gate.set = any_disturbance(&roll);
        const int32_t result = next.run();
        const bool is_sure = !is_forged && was.is != world::RUIN && !the_gate.fired && next.first != 0;
        if (!gate_problems.empty() || (!the_gate.dead && !is_possible(next, result)) ||
            (is_sure && result != next.result(was)))
            return gate_problems + "call " + std::to_string(next.kind) + " gives " + std::to_string(result);
        may = after(next, was, result, is_forged);
    }
    return "";
}
