#include "decode/StripsOfCrew.h"

#include <cassert>

namespace decode
{

namespace
{

bool IsMade(const Picture &picture)
{
    return picture.trouble.empty() && picture.reason.empty();
}

// A request of which nothing has come with all of its neighbours.
struct Retry
{
    std::size_t index;
    String why;
    Picture alone{}; // With none of them.
};

DecodeRequest Without(DecodeRequest request, bool isBeforeLeft, bool isAfterLeft)
{
    if (!isBeforeLeft)
        request.strip->before = Path();
    if (!isAfterLeft)
        request.strip->after = Path();
    return request;
}

std::vector<Path> Neighbours(const StripWish &wish)
{
    std::vector<Path> paths;
    for (const Path &path : {wish.before, wish.after})
        if (!path.IsEmpty())
            paths.push_back(path);
    return paths;
}

class Retries
{
public:
    Retries(DecodeCrew &crew, std::span<const DecodeRequest> requests, const FoundStrip &found)
        : m_crew(crew), m_requests(requests), m_found(found)
    {
    }

    void Add(std::size_t index, const String &why)
    {
        m_retries.push_back({index, why});
    }

    // Alone first: where nothing comes of that, it is the frame's own fault.
    void Run()
    {
        Make(false, false,
             [this](Retry &retry, Picture picture)
             {
                 const std::vector<Path> neighbours = Neighbours(WishOf(retry));
                 if (!IsMade(picture))
                     m_found(retry.index, {std::move(picture)});
                 else if (neighbours.size() == 1)
                     m_found(retry.index, {std::move(picture), neighbours, retry.why});
                 else
                 {
                     retry.alone = std::move(picture);
                     return true;
                 }
                 return false;
             });
        Make(true, false,
             [this](Retry &retry, Picture picture)
             { return !TellMade(retry, std::move(picture), WishOf(retry).after); });
        Make(false, true,
             [this](Retry &retry, Picture picture)
             { return !TellMade(retry, std::move(picture), WishOf(retry).before); });
        for (Retry &retry : m_retries)
            m_found(retry.index,
                    {std::move(retry.alone), Neighbours(WishOf(retry)), std::move(retry.why)});
    }

private:
    const StripWish &WishOf(const Retry &retry) const
    {
        return *m_requests[retry.index].strip;
    }

    bool TellMade(const Retry &retry, Picture picture, const Path &without)
    {
        if (!IsMade(picture))
            return false;
        m_found(retry.index, {std::move(picture), {without}, retry.why});
        return true;
    }

    // `isLeft` says which are tried once more.
    template <typename IsLeft> void Make(bool isBeforeLeft, bool isAfterLeft, IsLeft isLeft)
    {
        std::vector<DecodeRequest> requests;
        for (const Retry &retry : m_retries)
            requests.push_back(Without(m_requests[retry.index], isBeforeLeft, isAfterLeft));
        std::vector<Retry> left;
        m_crew.Make(requests,
                    [&](std::size_t number, Picture picture)
                    {
                        if (isLeft(m_retries[number], std::move(picture)))
                            left.push_back(std::move(m_retries[number]));
                    });
        m_retries = std::move(left);
    }

    DecodeCrew &m_crew;
    std::span<const DecodeRequest> m_requests;
    const FoundStrip &m_found;
    std::vector<Retry> m_retries;
};

} // namespace

void MakeStrips(DecodeCrew &crew, std::span<const DecodeRequest> requests, const FoundStrip &found)
{
    Retries retries(crew, requests, found);
    crew.Make(requests,
              [&](std::size_t index, Picture picture)
              {
                  assert(requests[index].strip && "it asks for a strip");
                  if (IsMade(picture) || Neighbours(*requests[index].strip).empty())
                      found(index, {std::move(picture)});
                  else
                      retries.Add(index,
                                  picture.trouble.empty() ? picture.reason : picture.trouble);
              });
    retries.Run();
}

} // namespace decode
