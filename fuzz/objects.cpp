// Arbitrary files under the four calls, each of which may be killed or meet a
// fault. What has been seen once may only change as the calls say.

#include <algorithm>
#include <cassert>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>

#include "gate.h"
#include "worlds.h"

static const char SIGN[] = "VORN_OLD_VORN_HDR_a";

// A number of at most so many bits; each length is as likely as another.
static uint32_t number(FuzzedDataProvider &input, int bits)
{
    return input.ConsumeIntegral<uint32_t>() >> input.ConsumeIntegralInRange<int>(32 - bits, 31);
}

// A header, with at most so many blocks as anybody would wait for.
static std::string header(FuzzedDataProvider &input)
{
    const uint32_t block_size = input.ConsumeBool() ? 512 : number(input, 32);
    const uint32_t most = std::min(uint64_t{1000} * std::max(block_size, 512u), uint64_t{UINT32_MAX});
    return header_image(block_size, number(input, 32), std::min(number(input, 32), most));
}

static std::string sign(FuzzedDataProvider &input)
{
    const char *words[] = {"write ", "each ", "remove ", "", "directory"};
    std::string text = words[input.ConsumeIntegralInRange<int>(0, 4)];
    if (text == "directory" || text.empty())
        return text;
    for (int i = text[0] == 'r' ? 1 : 3; i > 0; --i)
        text += std::to_string(number(input, 3)) + (i > 1 ? " " : "");
    return input.ConsumeBool() ? "-> " + text : text + "\n";
}

static std::string object(FuzzedDataProvider &input)
{
    const std::string bytes = input.ConsumeRandomLengthString(2048);
    const int kind = input.ConsumeIntegralInRange<int>(0, 4);
    return kind == 0 ? bytes : kind == 1 ? encrypt(bytes) : kind == 2 ? seal(bytes) : seal(header(input));
}

static file_map files(FuzzedDataProvider &input)
{
    file_map made;
    for (const char *name : {"VORN_HDR_a", "VORN_DATA_a_0", "VORN_DATA_a_1", "VORN_DATA_a_2", "VORN_OLD_VORN_DATA_a_0",
                             "VORN_OLD_VORN_DATA_a_1", "VORN_OLD_VORN_DATA_a_2"})
        if (input.ConsumeBool())
            made[name] = strstr(name, "HDR") != nullptr ? seal(header(input)) : object(input);
    if (input.ConsumeBool())
        made["VORN_HDR_a"] = object(input);
    if (input.ConsumeBool())
        made[SIGN] = sign(input);
    return made;
}

static call any_call(FuzzedDataProvider &input)
{
    call next;
    next.kind = input.PickValueInArray({call::CREATE, call::WRITE, call::REMOVE, call::READ});
    next.first = next.kind == call::CREATE ? 512 * number(input, 4) : number(input, 14);
    next.second = next.kind == call::CREATE ? number(input, 2) : 1 + number(input, 12);
    next.seed = input.ConsumeIntegralInRange<int>(0, 3);
    return next;
}

static disturbance any_disturbance(FuzzedDataProvider &input)
{
    const bool dies = input.ConsumeBool();
    const long trip = input.ConsumeBool() ? 0 : input.ConsumeIntegralInRange<long>(1, 60);
    return {dies ? CHANGE : FILES | MEMORY, nullptr, trip, 1 + 2 * dies, 0, dies, int(number(input, 2))};
}

static bool is_refusal(const call &what, int32_t result)
{
    static const std::set<int32_t> refusals[] = {
        {-22, -17, -12, -1}, {-22, -61, -1, -5, -34, -12}, {-22, -61, -1}, {-22, -61, -1, -5, -34}};
    return refusals[what.kind].count(result) == 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const directory where;
    const size_t part = std::min(size, size_t{160});   // some calls
    FuzzedDataProvider calls(data, part);
    FuzzedDataProvider objects(data + part, size - part);
    const machine on[] = {
        {"links"}, {"no links", false, {{"link", EPERM}}}, {"no symbolic links", true, {{"symlink", EPERM}}}};
    where.restore({files(objects), {}});
    worlds may = {{world::RUIN}};
    while (calls.remaining_bytes() > 0) {
        reset_gate(where.root, on[size % 3]);
        the_gate.most_memory = 1 << 20;   // a small device
        const world seen = observe();
        const auto now = std::find_if(may.begin(), may.end(), [&](const world &is) { return is.shows(seen); });
        assert(now != may.end());
        const world was = *now;
        const call next = any_call(calls);
        the_gate.set = any_disturbance(calls);
        const int32_t result = next.run();
        const bool is_done = !the_gate.dead && result == 0 && (next.kind == call::CREATE || next.kind == call::REMOVE);
        assert(the_gate.dead || result >= 0 || is_refusal(next, result));
        assert(result <= (next.kind == call::READ || next.kind == call::WRITE ? int64_t{next.second} : 0));
        assert(gate_problems.empty());
        if (is_done)
            may = {next.kind == call::CREATE ? world{world::THERE, next.first, next.second, ""} : world()};
        else if (was.is != world::RUIN)   // blocks that the header does not count may stop a write
            may = the_gate.dead ? next.killed(was, false) : next.failed(was, result);
    }
    return 0;
}
