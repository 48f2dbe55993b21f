#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "corvan/Messages.h"
#include "master/door/Identity.h"
#include "tests/simulation/Agenda.h"
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
        /// What is known to have come of it.
        enum class Outcome
        {
            Unknown, ///< It was not answered, or by a Master that has crashed since: see
                     ///< `IsOfDisk`.
            Accepted,
            MissingRight,
            OfDisk,
            Refused, ///< For another reason.
        };
        Kind kind = Kind::Change;
        UID job;
        boost::shared_ptr<Job> submitted; ///< Null but of a `Submit`.
        std::vector<Setting> settings;    ///< None but of a `Change`.
        std::string user{};
        master::Role role = master::Role::Admin;
        std::string what{};    ///< The message.
        bool isAllowed = true; ///< By what the ledger knows of roles and owners.
        Outcome outcome = Outcome::Unknown;
    };

    /// `keepDays`: as `Retention` is told.
    Ledger(Verdict &verdict, const Agenda &agenda, unsigned keepDays)
        : m_verdict(verdict), m_agenda(agenda), m_keepDays(keepDays)
    {
    }

    /// Gives the number of the wish.
    WishNumber Note(Wish wish);
    /// The Master has taken the wish, and may do something about it.
    void Take(WishNumber wish);
    /// The Master has let go of the answer. The reason is empty for a wish that was carried out.
    void Answer(WishNumber wish, const String &reason);

    /// The Master has crashed. What its disk refused may be there.
    void LoseMaster();
    /// The clock on the wall is about to be set, or was.
    void NoteWallTime();

    const Wish &At(WishNumber wish) const
    {
        return m_wishes.at(wish);
    }
    const std::vector<Wish> &Wishes() const
    {
        return m_wishes;
    }
    /// A client asks something of a job that the Master has made: of those nothing is held against
    /// what they are to be, and who asked has to be known.
    void NoteOfMaster(Wish wish)
    {
        m_ofMaster.push_back(std::move(wish));
    }
    const std::vector<Wish> &WishesOfMaster() const
    {
        return m_ofMaster;
    }
    bool IsRemovalAsked(const UID &job) const
    {
        return m_accounts.contains(job) && m_accounts.at(job).isRemovalAsked;
    }
    /// Jobs that went by themselves.
    long CountExpired() const
    {
        return m_expired;
    }
    /// Nobody asked for its removal, and it was not over so long ago that it goes by itself.
    bool MustStay(const UID &job) const;
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
        std::string owner;
        // What the clock on the wall has shown since it came.
        std::int64_t earliest = 0;
        std::int64_t latest = 0;
    };

    static bool MayDo(const Wish &wish, const Account &account);
    void CheckRight(const Wish &wish, const String &reason, const Account &account);
    void NoteWallTime(Account &account) const;

    void TakeChange(WishNumber number, const Wish &wish, Account &account);
    void CompareJob(const Job &job, Account &account, bool isNewRun);

    Verdict &m_verdict;
    const Agenda &m_agenda;
    const unsigned m_keepDays;
    std::vector<Wish> m_wishes;
    std::vector<Wish> m_ofMaster;
    std::map<UID, Account> m_accounts;
    long m_expired = 0;
};

/// A job in a line, for people.
std::string Describe(const Job &job);

} // namespace simulation
