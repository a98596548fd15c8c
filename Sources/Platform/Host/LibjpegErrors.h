// libjpeg reports fatal errors by calling a function that must not return; this error manager
// jumps back to the caller's setjmp point with the library's message instead of exiting.
#pragma once

#include <csetjmp>
#include <cstdio>
#include <string>

#include <jpeglib.h>

namespace dm::libjpeg {

struct ErrorManager {
  jpeg_error_mgr base{};
  std::jmp_buf jump{};
  char message[JMSG_LENGTH_MAX] = {};
};

// Installs `manager` on `info` (a compress or decompress struct's common part). Warnings are
// not printed: the caller decides what to report.
inline jpeg_error_mgr* install(ErrorManager& manager) {
  jpeg_std_error(&manager.base);
  manager.base.error_exit = [](j_common_ptr info) {
    auto* self = reinterpret_cast<ErrorManager*>(info->err);
    (*info->err->format_message)(info, self->message);
    std::longjmp(self->jump, 1);
  };
  manager.base.output_message = [](j_common_ptr) {};
  return &manager.base;
}

}  // namespace dm::libjpeg
