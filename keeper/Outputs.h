#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace keeper
{

/// The files that a command is to write: whether it has, and that a whole one is not lost.
///
/// What the command does to a file cannot be stopped. So, where wanted, a file that holds something
/// is copied before the command begins, under a hidden name beside it, which costs next to nothing
/// where the file system shares what two files have in common. Where the command leaves nothing, or
/// an empty file, the copy takes its place. A copy that is still there was left by a keeper that
/// was killed.
class Outputs
{
public:
    Outputs(const std::vector<std::string> &files, bool keepsOld);

    /// Makes the folders and the copies, and notes what is there. False, with the reason, where
    /// that cannot be done, or `isOver` says that there is no need any more.
    bool Prepare(const std::function<bool()> &isOver, std::string *reason);

    /// Why the command has not succeeded though it says so; empty where each file is there, holds
    /// something and is not the one that was there before.
    std::string FindFault() const;

    /// Gives the copies back where the command left nothing, and removes the others. Tells what
    /// was given back and what could not be, a line each.
    std::string PutBack();

private:
    // What tells one state of a file from another. Never compared with a clock of this machine,
    // since the files may be another's.
    struct Stamp
    {
        bool isThere = false;
        bool isFile = false;
        dev_t device = 0;
        ino_t number = 0;
        off_t size = 0;
        timespec written{};
        timespec changed{};
    };

    struct Output
    {
        std::string file;
        Stamp before{};
        std::string copied{}; ///< The file that the copy is of: no link, as `file` may be.
        std::string copy{};   ///< Empty where there is none.
    };

    static Stamp StampOf(const std::string &file);
    static bool IsSame(const Stamp &a, const Stamp &b);
    static bool HoldsNothing(const std::string &file);
    bool PrepareOne(Output &output, const std::function<bool()> &isOver, std::string *reason) const;

    std::vector<Output> m_outputs;
    bool m_keepsOld;
};

/// Makes the folder that a file is to be in, where it is missing. False, with the reason, where it
/// cannot be made or not be written to.
bool MakeFolderOf(const std::string &file, std::string *reason);

} // namespace keeper
