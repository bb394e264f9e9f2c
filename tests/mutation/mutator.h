// Breaking a source on purpose, one place at a time, to learn whether the tests notice.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mutation {

// One change: `length` bytes from `offset` give way to the replacement.
struct Mutant {
  size_t offset;
  size_t length;
  std::string replacement;
  // "comparison", "condition", "logic", "arithmetic", "number", "boolean", "text", "statement".
  std::string_view kind;

  bool operator==(const Mutant&) const = default;
};

// Every change that makes sense, in the order of their places. What is no code of a function or a
// value (comments, includes, assertions at compile time, attributes, types) is left alone. Some of
// the changes may not compile.
std::vector<Mutant> FindMutants(std::string_view source);

std::string Apply(std::string_view source, const Mutant& mutant);

// The number, from 1, of the line on which the change begins.
size_t LineOf(std::string_view source, const Mutant& mutant);

// The lines that it touches, before and after, as one line with its blanks squeezed; a short line
// with the one before it. Together with the name of the file they identify the mutant wherever its
// line has moved to.
std::string Before(std::string_view source, const Mutant& mutant);
std::string After(std::string_view source, const Mutant& mutant);

// Indices into the mutants, mixed by the seed and the file's name, the same on every machine: each
// line comes once before any comes for the second time.
std::vector<size_t> SamplingOrder(std::string_view source, const std::vector<Mutant>& mutants,
                                  std::string_view file, uint64_t seed);

// How many lines have something to change.
size_t CountMutableLines(std::string_view source, const std::vector<Mutant>& mutants);

// Divides the count in proportion to the weights.
std::vector<size_t> ShareOut(size_t count, const std::vector<size_t>& weights);

}  // namespace mutation
