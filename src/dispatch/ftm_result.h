// How one step of a request ended: accepted, refused with one of the fixed
// messages, or failed. A handler's steps hand this up; the handler turns it
// into the error record and its integer status in one place, Report().
#ifndef FTM_DISPATCH_FTM_RESULT_H_
#define FTM_DISPATCH_FTM_RESULT_H_

#include "dispatch/ftm_status.h"

class FtmResult {
 public:
  static FtmResult Accepted() { return FtmResult(0, nullptr); }
  // Refused with `message`, one of the fixed messages of ftm_status.h; the
  // status is -1 unless the request's rules give it another.
  static FtmResult Refused(const char* message, int status = -1) {
    return FtmResult(status, message);
  }
  // A board call's result: 0 is accepted; anything else is a failure with
  // that status and no message of its own.
  static FtmResult Of(int status) { return FtmResult(status, nullptr); }
  static FtmResult Failed() { return FtmResult(-1, nullptr); }

  bool accepted() const { return status_ == 0; }
  // A failure without a message of its own (a board call failed).
  bool failed() const { return status_ != 0 && message_ == nullptr; }
  // -1: the status that ends a walk over a request's children.
  bool stops() const { return status_ == -1; }

  // The one boundary: a refusal's message goes into the error record, and
  // the integer status comes back. A failure records nothing, so the
  // station is answered with whatever the record holds (FTM_PutFile).
  int Report() const {
    if (message_ != nullptr) ftm_SetErrorInfo(0, message_);
    return status_;
  }

 private:
  FtmResult(int status, const char* message) : status_(status), message_(message) {}

  int status_;
  const char* message_;
};

#endif  // FTM_DISPATCH_FTM_RESULT_H_
