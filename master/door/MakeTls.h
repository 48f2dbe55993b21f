#pragma once

#include <span>

#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;
using ostrel::String;

/// The files of a folder that hold what TLS needs.
struct TlsFiles
{
    Path authority;    ///< What clients trust: may be given to anybody.
    Path authorityKey; ///< Makes certificates; needed for no more than that.
    Path certificate;  ///< The Master's own.
    Path key;          ///< Its key.
};
TlsFiles TlsFilesIn(const Path &folder);

/// Makes certificate and key of a Master that is reached by these names and addresses, and the
/// authority that signs them, where the folder has none: one that is there signs the renewed
/// certificate, so that the clients' copy of it stays good. The authority is good for ten years,
/// the certificate for one. Keys are their owner's alone. True where the authority is new.
///
/// Throws `ostrel::Exception *`: for what is no host, for an authority that is incomplete, and
/// where the files cannot be written.
bool MakeTls(const Path &folder, std::span<const String> hosts);

} // namespace master
