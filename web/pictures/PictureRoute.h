#pragma once

#include "web/door/Routes.h"
#include "web/jobs/FrameFinder.h"
#include "web/pictures/Pictures.h"

namespace web
{

/// What serves "/api/jobs/{job}/frames/{frame}/picture": a JPEG, by the query's "format", "width",
/// "exposure", "channels" and "minus"; 400 where one of these makes no sense, 422 with the reason
/// where a frame cannot be shown, 503 where its disk does not answer, 429 where too many pictures are being made, and what `find` says
/// where there is no such frame. `pictures` outlives the handler, and what `find` is given.
Handler PictureHandler(Pictures &pictures, FindFrame find);

} // namespace web
