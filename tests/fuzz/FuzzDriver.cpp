// SPDX-License-Identifier: MIT
// Runs a fuzz target with damaged copies of its seeds:
//
//   fuzz_settings SECONDS [EXECUTIONS [RANDOM-SEED]]
//
// Every seed is run unchanged, then mutations until the time or the count is reached. Mutations that the target accepts
// (result 0) become seeds themselves. The present input is always in the file "fuzz-input", which remains after a
// crash, and after ten seconds without a result, which end the process too.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

/// Inputs that the target takes.
std::vector<std::vector<uint8_t>> Seeds();
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kMostStartingPoints = 512;

std::mt19937_64 random64;

// A bit or a field of 4 bytes is changed, a piece cut out, or a piece of another input inserted.
void Mutate(Bytes& bytes, const Bytes& other)
{
    static constexpr uint32_t kExtremes[] = {0, 1, 16, 0x7FFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF8};
    const size_t at = bytes.empty() ? 0 : random64() % bytes.size();
    const auto place = bytes.begin() + static_cast<long>(at);
    const size_t from = other.empty() ? 0 : random64() % other.size();
    const size_t length = size_t{1} << random64() % 8;
    switch (bytes.empty() ? 3 : random64() % 4) {
    case 0:
        *place ^= static_cast<uint8_t>(1 << random64() % 8);
        break;
    case 1: {
        const uint32_t value = random64() % 3 == 0 ? static_cast<uint32_t>(bytes.size() - at + random64() % 17 - 8)
                                                   : kExtremes[random64() % std::size(kExtremes)];
        for (size_t i = 0; i < 4 && at + i < bytes.size(); ++i)
            bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
        break;
    }
    case 2:
        bytes.erase(place, place + static_cast<long>(std::min(bytes.size() - at, length)));
        break;
    default: {
        const auto piece = other.begin() + static_cast<long>(from);
        const auto end = piece + static_cast<long>(std::min(other.size() - from, length));
        bytes.insert(place, piece, end);
    }
    }
    bytes.resize(std::min(bytes.size(), size_t{1} << 14));
}

bool IsTaken(const Bytes& bytes)
{
    std::ofstream("fuzz-input", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    alarm(10);
    return LLVMFuzzerTestOneInput(bytes.data(), bytes.size()) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<Bytes> pool = Seeds();
    random64.seed(argc > 3 ? std::stoull(argv[3]) : 1);
    const size_t seeds = pool.size();
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(std::stod(argv[1]));
    const double limit = argc > 2 ? std::stod(argv[2]) : 1e18;
    size_t executions = 0, taken = 0;
    for (; executions < seeds || (static_cast<double>(executions) < limit && std::chrono::steady_clock::now() < end);
         ++executions) {
        Bytes input = pool[executions < seeds ? executions : random64() % pool.size()];
        for (auto count = executions < seeds ? 0 : 1 + random64() % 4; count > 0; --count)
            Mutate(input, pool[random64() % pool.size()]);
        if (!IsTaken(input))
            continue;
        ++taken;
        if (pool.size() < kMostStartingPoints)
            pool.push_back(std::move(input));
        else
            pool[seeds + random64() % (pool.size() - seeds)] = std::move(input);
    }
    unlink("fuzz-input");
    std::printf("%zu executions, %zu of them taken\n", executions, taken);
    return taken >= seeds ? 0 : 1;
}
