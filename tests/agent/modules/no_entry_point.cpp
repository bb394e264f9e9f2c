// A library that is not a module.

extern "C" int SomethingElse();

extern "C" int SomethingElse() {
  return 1;
}
