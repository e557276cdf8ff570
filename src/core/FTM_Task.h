// The daemon's main thread: start-up, then the receive loop for ever.
#ifndef FTM_CORE_FTM_TASK_H_
#define FTM_CORE_FTM_TASK_H_

// Start-up in its fixed order, then the receive loop; never returns.
[[noreturn]] void FtmMain();

#endif  // FTM_CORE_FTM_TASK_H_
