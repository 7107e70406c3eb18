// Micro-benchmarks of what the engine does most: digests, trees and the metadata map.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <unordered_map>

#include "digest/sha256.h"
#include "tome/object/metadata_map.h"
#include "tome/object/object_encoding.h"

namespace {

void digest_with(benchmark::State& state, quill::Sha256Compression compression) {
    if (compression == nullptr) {
        state.SkipWithError("this processor lacks it");
        return;
    }
    const std::string bytes(1U << 20U, 'x');
    for (auto _ : state) {
        quill::Sha256 digest(compression);
        digest.update(bytes);
        benchmark::DoNotOptimize(digest.finish());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}

void sha256_portable(benchmark::State& state) {
    digest_with(state, quill::sha256_compress_portable);
}
void sha256_x86(benchmark::State& state) {
    digest_with(state, quill::sha256_compression_x86());
}
void sha256_armv8(benchmark::State& state) {
    digest_with(state, quill::sha256_compression_armv8());
}
BENCHMARK(sha256_portable);
BENCHMARK(sha256_x86);
BENCHMARK(sha256_armv8);

tome::Tree tree_of(int count) {
    tome::Tree tree;
    for (int i = 0; i < count; ++i) {
        tome::TreeEntry entry;
        entry.name = "asset_" + std::to_string(100000 + i) + ".txt";
        entry.size = 1500;
        entry.digest = tome::digest_of(entry.name);
        tree.push_back(entry);
    }
    return tree;
}

void encode_tree(benchmark::State& state) {
    const tome::Tree tree = tree_of(1000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(tome::encode_tree(tree));
    }
}
BENCHMARK(encode_tree);

void parse_tree(benchmark::State& state) {
    const std::string bytes = tome::encode_tree(tree_of(1000));
    for (auto _ : state) {
        benchmark::DoNotOptimize(tome::parse_tree(bytes));
    }
}
BENCHMARK(parse_tree);

// Objects in memory, so that the map is measured and not the disk.
class MemoryObjects final : public tome::ObjectSource, public tome::ObjectSink {
  public:
    std::optional<std::string> find_object(const tome::Digest& digest) override {
        const auto found = objects_.find(digest);
        return found == objects_.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<tome::Content> find_content(const tome::Digest&) override { return std::nullopt; }
    bool contains(tome::ObjectKind, const tome::Digest& digest) override { return objects_.contains(digest); }
    std::vector<tome::Digest> lost(const std::vector<tome::Digest>&) override { return {}; }
    tome::Digest add(tome::ObjectKind, const std::string& bytes) override {
        const tome::Digest digest = tome::digest_of(bytes);
        objects_.emplace(digest, bytes);
        return digest;
    }

  private:
    std::unordered_map<tome::Digest, std::string, tome::DigestHash> objects_;
};

std::map<std::string, std::string> values_of(int revision) {
    const std::string prefix = "revision." + std::to_string(revision) + ".";
    return {{prefix + "author", "ana"}, {prefix + "created", "1"}, {prefix + "files", "1"}, {prefix + "summary", "s"}};
}

// Four values for one revision, on top of a map that holds those of `range` revisions.
void set_metadata(benchmark::State& state) {
    MemoryObjects objects;
    std::map<std::string, std::string> all;
    for (int i = 0; i < state.range(0); ++i) {
        all.merge(values_of(i));
    }
    const tome::Digest root = tome::set_metadata(objects, {}, all, objects);
    const auto values = values_of(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(tome::set_metadata(objects, root, values, objects));
    }
}
BENCHMARK(set_metadata)->Arg(100)->Arg(10000)->Arg(100000);

}  // namespace
