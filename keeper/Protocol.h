#pragma once

// What the Master and the task keeper say to each other.
//
// The keeper's standard input is a file with the request: texts, each closed by a zero byte, always
// a name and then its value (`Request`). Its standard output is a socket to the Master. From there
// come orders of one byte; that it is closed means `k_End`. Back go reports, each closed by a zero
// byte: a letter and what belongs to it. The last one tells how it ended; the keeper then closes
// the socket, and nothing of the command is left.
namespace keeper
{

// Names of the request.
inline constexpr const char *k_Argument = "argument";       // The program and its arguments.
inline constexpr const char *k_Environment = "environment"; // "NAME=value", each.
inline constexpr const char *k_Folder = "folder";           // Where it runs.
inline constexpr const char *k_Group = "group";             // Its control group's folder.
inline constexpr const char *k_Log = "log";                 // Takes what it prints.
// Who it runs as, and looks at files as; 0 for whoever the Master runs as.
inline constexpr const char *k_User = "user";
inline constexpr const char *k_UserGroup = "user-group"; // The main one of that user,
inline constexpr const char *k_MoreGroup = "more-group"; // and each that it has.
inline constexpr const char *k_Output = "output"; // A file that it is to write; its folder is made.
inline constexpr const char *k_Place = "place";   // A file whose folder is made.
// They are to lie in one of these.
inline constexpr const char *k_RootOfOutputs = "root-of-outputs";
inline constexpr const char *k_RootedName = "rooted-name"; // Of a path that has roots: "Scene",
inline constexpr const char *k_RootedPath = "rooted-path"; // the path itself,
inline constexpr const char *k_RootedRoot = "rooted-root"; // and a folder that it may lie in.
inline constexpr const char *k_Keep = "keep";       // 1: outputs that are there are kept meanwhile.
inline constexpr const char *k_Seconds = "seconds"; // The limits; 0 for none.
inline constexpr const char *k_Memory = "memory";
inline constexpr const char *k_Processes = "processes";
// So many of the processors, from this one on: where no control group holds it below that.
inline constexpr const char *k_Processors = "processors";
inline constexpr const char *k_FirstProcessor = "first-processor";
inline constexpr const char *k_LogBytes = "log-bytes";
inline constexpr const char *k_Nice = "nice";
inline constexpr const char *k_Files = "files"; // Open at a time, at first; it may ask for more.
inline constexpr const char *k_Patience = "patience"; // Milliseconds from asking to killing.

// Orders.
inline constexpr char k_End = 'E';  // End all of it, gently at first.
inline constexpr char k_Kill = 'K'; // End all of it at once.

// Reports.
inline constexpr char k_Started = 'S';
inline constexpr char k_NotStarted = 'N'; // "Nreason"
inline constexpr char k_Outside = 'O';    // "Oreason", not started: a path leads out of its roots.
inline constexpr char k_Ended = 'X';      // "X7 reason", the code -1 where a signal ended it.

} // namespace keeper
