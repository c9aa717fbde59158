// The platform set-up of the operating-system layer.
//
// The portable classes of this folder make no system call and include nothing of the
// platform layer: they create their objects through creation hooks (SetCreateMethod,
// SetCreateMethods). The platform folder (src/Sys/Posix) defines the function below, which
// fills every hook with its classes (each one's SetPlatformDependentMethods).
//  1. It runs once per process: when the library is loaded, before any caller's code, and
//     at the latest on the first use of a portable class whose hook is still empty (an
//     object made by a static initializer that ran before the library's own).
//  2. Later calls do nothing, so a hook a caller installed after start-up stays in place.
//  3. It does not install the stack dump hook of Cmn_StackDump; a program that wants stack
//     dumps in its failures installs it (the tool does at start-up).
#pragma once

void Sys_SetPlatformDependentMethods();
