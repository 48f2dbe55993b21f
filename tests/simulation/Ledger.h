#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "corvan/Messages.h"
#include "tests/simulation/Register.h"
#include "tests/simulation/Verdict.h"

namespace simulation
{

using corvan::Job;
using ostrel::String;
using ostrel::UID;

/// What the clients have asked for and what they were answered, and so what there has to be.
class Ledger
{
public:
    using Setting = std::pair<String, String>;

    /// One thing that a client asks for.
    struct Wish
    {
        enum class Kind
        {
            Submit,
            Change,
            Remove,
        };
        Kind kind = Kind::Change;
        UID job;
        boost::shared_ptr<Job> submitted; ///< Null but of a `Submit`.
        std::vector<Setting> settings;    ///< None but of a `Change`.
    };

    explicit Ledger(Verdict &verdict) : m_verdict(verdict) {}

    /// Gives the number of the wish.
    WishNumber Note(Wish wish);
    /// The Master has taken the wish, and may do something about it.
    void Take(WishNumber wish);
    /// The Master has let go of the answer. The reason is empty for a wish that was carried out.
    void Answer(WishNumber wish, const String &reason);

    const Wish &At(WishNumber wish) const
    {
        return m_wishes.at(wish);
    }
    /// Where the reason of a refusal is the disk's, the wish may still be carried out: what was
    /// written of it is perhaps there, for whoever opens the store next.
    static bool IsOfDisk(const String &reason);

    /// Jobs that have to be there, and that nobody has asked to be removed.
    std::vector<UID> Jobs() const;

    /// All jobs that there are, as the Master tells. `isNewRun`: it was started just now, and
    /// nothing was asked of it yet: then this is what the disk has kept.
    void Compare(const std::vector<boost::shared_ptr<Job>> &found, bool isNewRun);

private:
    struct Account
    {
        Register<bool> isThere;
        std::map<String, Register<std::string>> values;
        Register<unsigned> statuses; ///< Sets of them.
        bool isRemovalAsked = false;
    };

    void TakeChange(WishNumber number, const Wish &wish, Account &account);
    void CompareJob(const Job &job, Account &account, bool isNewRun);

    Verdict &m_verdict;
    std::vector<Wish> m_wishes;
    std::map<UID, Account> m_accounts;
};

/// A job in a line, for people.
std::string Describe(const Job &job);

} // namespace simulation
