// dlopen/dlsym of the library under test (see library.h).
#include "library.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace eq {

namespace {

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "equality: %s\n", what.c_str());
  std::exit(2);
}

void* openFile(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* err = dlerror();
    fail("cannot load " + path + ": " + (err != nullptr ? err : "?"));
  }
  return handle;
}

std::string realPath(const std::string& path) {
  char buf[PATH_MAX];
  return realpath(path.c_str(), buf) != nullptr ? std::string(buf) : path;
}

// The file a symbol's code lives in.
std::string fileOf(const void* symbol) {
  Dl_info info{};
  if (dladdr(symbol, &info) == 0 || info.dli_fname == nullptr) {
    return "?";
  }
  return realPath(info.dli_fname);
}

template <typename F>
void resolve(void* handle, const char* name, F& out, const std::string& expectedFile) {
  void* symbol = dlsym(handle, name);
  if (symbol == nullptr) {
    fail(std::string("missing export ") + name);
  }
  static_assert(sizeof(F) == sizeof(void*), "function pointers must be pointer sized");
  std::memcpy(&out, &symbol, sizeof out);
  const std::string file = fileOf(symbol);
  if (file != expectedFile) {
    fail(std::string(name) + " resolved from " + file + ", expected " + expectedFile);
  }
}

}  // namespace

Library loadLibrary(const std::string& mainPath, const std::string& siblingPath,
                    std::string* report) {
  const std::string mainFile = realPath(mainPath);
  const std::string siblingFile = realPath(siblingPath);
  void* sibling = openFile(siblingPath);
  void* main = openFile(mainPath);
  Library lib{};
#define EQ_RESOLVE(name) resolve(main, #name, lib.name, mainFile)
  EQ_RESOLVE(median);
  EQ_RESOLVE(Eval_std);
  EQ_RESOLVE(norm);
  EQ_RESOLVE(interp1q_Linear);
  EQ_RESOLVE(interp_Linear_Extrap);
  EQ_RESOLVE(interp_Linear_Extrap_Complex);
  EQ_RESOLVE(zefra_linearInterp_c);
  EQ_RESOLVE(interp1_Cubic);
  EQ_RESOLVE(interp_Sparam);
  EQ_RESOLVE(combineS4p);
  EQ_RESOLVE(synth_tline);
  EQ_RESOLVE(makePackage);
  EQ_RESOLVE(mod);
  EQ_RESOLVE(Kron);
  EQ_RESOLVE(conv);
  EQ_RESOLVE(Filter);
  EQ_RESOLVE(unwrap);
  EQ_RESOLVE(poly);
  EQ_RESOLVE(Polyval);
  EQ_RESOLVE(Polyfit);
  EQ_RESOLVE(Butterworth_TF);
  EQ_RESOLVE(GetButterworthTF);
  EQ_RESOLVE(erfcinv);
  EQ_RESOLVE(td_ctle);
  EQ_RESOLVE(Get_xtlk_noise_step);
  EQ_RESOLVE(floatingDFE);
  EQ_RESOLVE(get_pdf_from_sampled_signal);
  EQ_RESOLVE(get_pdf_from_sampled_signal_800G);
  EQ_RESOLVE(d_cpdf);
  EQ_RESOLVE(zefra_release_array);
#undef EQ_RESOLVE
  resolve(sibling, "zefra_interp_Sparam_C", lib.zefra_interp_Sparam_C, siblingFile);
  // The main library's own dependency must be the same sibling file.
  SparamInterp viaMain = nullptr;
  resolve(main, "zefra_interp_Sparam_C", viaMain, siblingFile);
  if (report != nullptr) {
    *report = "library " + mainFile + "\nsibling " + siblingFile +
              " (also the main library's libinterp_Sparam.so)\n";
  }
  return lib;
}

}  // namespace eq
