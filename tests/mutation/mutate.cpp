// The mutator as a program, for the script "run" beside it.
//
//   mutate list SEED FILE          every mutant of the file in the order in which to take them:
//                                  number, line, kind, before and after, between tabs
//   mutate shares COUNT FILE...    how many mutants of each file to take: number and file
//   mutate apply NUMBER FILE       the file's text with that mutant

#include "mutator.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read '" + path + "'");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void List(uint64_t seed, const std::string& file) {
  const std::string source = ReadFile(file);
  const std::vector<mutation::Mutant> mutants = mutation::FindMutants(source);
  for (const size_t number : mutation::SamplingOrder(source, mutants, file, seed)) {
    const mutation::Mutant& mutant = mutants[number];
    std::cout << number << '\t' << mutation::LineOf(source, mutant) << '\t' << mutant.kind << '\t'
              << mutation::Before(source, mutant) << '\t' << mutation::After(source, mutant)
              << '\n';
  }
}

void Shares(size_t count, std::span<char*> files) {
  std::vector<size_t> weights;
  for (const char* file : files) {
    const std::string source = ReadFile(file);
    weights.push_back(mutation::CountMutableLines(source, mutation::FindMutants(source)));
  }
  const std::vector<size_t> shares = mutation::ShareOut(count, weights);
  for (size_t i = 0; i < files.size(); ++i) std::cout << shares[i] << '\t' << files[i] << '\n';
}

void Apply(size_t number, const std::string& file) {
  const std::string source = ReadFile(file);
  std::cout << mutation::Apply(source, mutation::FindMutants(source).at(number));
}

}  // namespace

int main(int argc, char** argv) {
  const std::span<char*> arguments(argv, static_cast<size_t>(argc));
  if (argc < 4) {
    std::cerr << "usage: mutate list SEED FILE | shares COUNT FILE... | apply NUMBER FILE\n";
    return 2;
  }
  try {
    const std::string command = arguments[1];
    const uint64_t number = std::stoull(arguments[2]);
    if (command == "list") {
      List(number, arguments[3]);
    } else if (command == "shares") {
      Shares(number, arguments.subspan(3));
    } else if (command == "apply") {
      Apply(number, arguments[3]);
    } else {
      throw std::runtime_error("unknown command '" + command + "'");
    }
  } catch (const std::exception& error) {
    std::cerr << "mutate: " << error.what() << '\n';
    return 1;
  }
  return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
