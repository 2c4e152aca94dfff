// Runs a fuzz target with damaged copies of its seeds, without help from the compiler:
//
//   fuzz_settings FOLDER-OF-SEEDS [SECONDS [EXECUTIONS [RANDOM-SEED]]]
//
// Every seed is run as it is, then mutations until the time or the count is used up. Mutations that the target takes
// (result 0) become starting points themselves. The input at work always lies in the file "fuzz-input", so it is left
// behind by a crash, and by ten seconds without a result, which end the process too. A file in place of the folder is
// its only seed: without seconds it is run just once.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <span>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t kLargestInput = 1 << 14;
constexpr size_t kMostStartingPoints = 512;

std::mt19937_64 random64;

size_t Below(size_t limit)
{
    return limit == 0 ? 0 : random64() % limit;
}

std::vector<Bytes> ReadSeeds(const std::filesystem::path& place)
{
    std::vector<std::filesystem::path> files{place};
    if (std::filesystem::is_directory(place))
        files.assign(std::filesystem::directory_iterator(place), {});
    std::ranges::sort(files);
    std::vector<Bytes> seeds;
    for (const auto& path : files) {
        std::ifstream file(path, std::ios::binary);
        seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return seeds;
}

// Lengths, counts and values stand in fields of 4 and 8 bytes, most significant byte first.
void WriteNumber(Bytes& bytes, size_t at)
{
    static constexpr uint64_t kExtremes[] = {0,          1,          16,         0x7FFF,    0x8000,     0xFFFF,
                                             0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, INT64_MAX, 1ULL << 63, UINT64_MAX};
    const uint64_t value = Below(3) == 0 ? bytes.size() - at + Below(17) - 8 : kExtremes[Below(std::size(kExtremes))];
    const size_t width = 4U << Below(2);
    for (size_t i = 0; i < width && at + i < bytes.size(); ++i)
        bytes[at + i] = static_cast<uint8_t>(value >> (8 * (width - 1 - i)));
}

// A bit, a byte or a number is changed, a piece cut out, or a piece of another input inserted or laid over.
void Mutate(Bytes& bytes, const Bytes& other)
{
    const size_t at = Below(bytes.size());
    const size_t from = Below(other.size());
    const auto place = bytes.begin() + static_cast<long>(at);
    const std::span rest = std::span(other).subspan(from);
    const auto piece = rest.first(std::min(rest.size(), size_t{1} << Below(8)));
    switch (bytes.empty() ? 5 : Below(7)) {
    case 0:
        *place ^= static_cast<uint8_t>(1 << Below(8));
        break;
    case 1:
        *place = static_cast<uint8_t>(random64());
        break;
    case 2:
    case 3:
        WriteNumber(bytes, at);
        break;
    case 4:
        bytes.erase(place, place + static_cast<long>(std::min(bytes.size() - at, piece.size())));
        break;
    case 5:
        bytes.insert(place, piece.begin(), piece.end());
        break;
    default:
        std::copy_n(piece.begin(), std::min(piece.size(), bytes.size() - at), place);
    }
    bytes.resize(std::min(bytes.size(), kLargestInput));
}

bool IsTaken(int file, const Bytes& bytes)
{
    if (pwrite(file, bytes.data(), bytes.size(), 0) < 0 || ftruncate(file, static_cast<off_t>(bytes.size())) != 0)
        std::abort();
    alarm(10);
    return LLVMFuzzerTestOneInput(bytes.data(), bytes.size()) == 0;
}

} // namespace

int main(int argc, char** argv)
{
    const auto number = [&](int index, double standard) { return argc > index ? std::atof(argv[index]) : standard; };
    auto pool = argc > 1 ? ReadSeeds(argv[1]) : std::vector<Bytes>();
    const int file = open("fuzz-input", O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (file < 0 || pool.empty())
        return std::fprintf(stderr, "no seeds, or no file can be written here\n"), 2;
    const size_t seeds = pool.size();
    const auto seconds = std::chrono::duration<double>(number(2, 0));
    const auto limit = static_cast<uint64_t>(number(3, 1e18));
    random64.seed(static_cast<uint64_t>(number(4, 1)));
    uint64_t executions = 0;
    uint64_t taken = 0;
    const auto start = std::chrono::steady_clock::now();
    for (; executions < seeds || (executions < limit && std::chrono::steady_clock::now() - start < seconds);
         ++executions) {
        Bytes input = pool[executions < seeds ? executions : Below(pool.size())];
        for (size_t count = executions < seeds ? 0 : 1 + Below(4); count > 0; --count)
            Mutate(input, pool[Below(pool.size())]);
        if (!IsTaken(file, input))
            continue;
        ++taken;
        if (pool.size() < kMostStartingPoints)
            pool.push_back(std::move(input));
        else
            pool[seeds + Below(pool.size() - seeds)] = std::move(input);
    }
    unlink("fuzz-input");
    std::printf("%llu executions, %llu of them taken\n", static_cast<unsigned long long>(executions),
                static_cast<unsigned long long>(taken));
    return taken > 0 ? 0 : 1;
}
