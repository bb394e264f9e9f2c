// Random inventory documents, the same ones for the same seed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "kor/string.h"
#include "korcore/obj_inv.h"

class RandomDocuments {
 public:
  explicit RandomDocuments(uint64_t seed) : engine(seed) {}

  // From the environment variable KOR_TEST_SEED, or a new one for each run.
  static uint64_t Seed();

  // From 0 to below the limit.
  size_t Below(size_t limit) { return static_cast<size_t>(engine() % limit); }
  bool OneIn(size_t chances) { return Below(chances) == 0; }

  // Any bytes: empty, words, beginnings of one another, markup, all that XML cannot carry.
  KorString Text();

  // A whole document, without marks.
  void Fill(ObjInv& document);

  // Lays any marks on any elements, whether they make sense or not.
  void AddMarks(ObjInv& document);

  // A later state of the document: things added, removed, renamed, moved, changed at every level.
  void Mutate(ObjInv& document);

 private:
  KorString Name();
  ObjDefinition Definition();
  void FillClass(ObjType& type);
  void FillInstance(ObjInst& instance);
  void Mark(ObjBase& element);
  ObjPlace Place();
  ObjBase* Any(ObjSet& set);
  void MutateOrder(ObjSet& set);
  void MutateNames(ObjSet& set);
  void MutateClass(ObjType& type);
  void MutateInstance(ObjInst& instance);

  std::mt19937_64 engine;
};
