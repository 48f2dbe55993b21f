#pragma once

#include <cstddef>

/// What pictures are judged by. Each number has its unit and its reason, docs/verdict.md has them
/// in a table with what they find and whom they accuse. They were chosen on the tuning half of
/// share/corpus alone. A stop is a factor of two of light; a "tile" is one of `PictureMeasures`.
namespace check::picture_rules
{

/// Frames on each side that tell what is usual. Longer, and a shot has become another; shorter, and
/// a light that flickers at 12 frames a turn is no habit.
inline constexpr int k_History = 8;
/// How many times what is usual a jump has to be: the highest of some frames of noise is seldom
/// twice the second highest of sixteen others.
inline constexpr float k_UsualTimes = 2;
/// Frames on each side among which so many that jump about as far, up to so many times more or
/// less, make it a habit of the shot: a strobe, a turn that comes again. Of missing and stale
/// blocks nobody makes a habit but a machine.
inline constexpr int k_Habit = 30;
inline constexpr int k_HabitFrames = 2;
inline constexpr float k_HabitTimes = 2;
/// How much of the rectangle around it a group of tiles has to fill to be a block, a band or the
/// rest of a picture: renderers work in rectangles.
inline constexpr float k_BlockFill = 0.52f;
/// Added to all light before its logarithm is taken, as a share of the usual light of the shot:
/// below it nothing is seen, so nothing counts.
inline constexpr float k_Darkness = 0.06f;
/// Light beyond so many times the usual counts no more: one lamp in sight would outweigh a picture.
inline constexpr float k_Glare = 64;
/// The share of a tile that is black from which it says nothing of level and noise.
inline constexpr float k_BlackTile = 0.8f;

// Level, noise, content: `pop`.

/// Stops that the level of a picture jumps, at the least: the eye sees a flicker of a hundredth.
inline constexpr float k_LevelJump = 0.03f;
/// The share of tiles that have to agree on it, in the same direction.
inline constexpr double k_LevelTiles = 0.4;
/// Stops that fine detail jumps: twice the noise is a stop, in tiles that have nothing else.
inline constexpr float k_NoiseJump = 0.1f;
inline constexpr double k_NoiseTiles = 0.35;
/// Light below which detail is not told from rounding: half a code of 8 bits in the shadows.
inline constexpr double k_LeastDetail = 0.0002;
/// Stops that a block of 2 x 2 tiles jumps.
inline constexpr float k_BlockJump = 0.25f;
/// Stops that all tiles jump, in the mean: another picture.
inline constexpr float k_ContentJump = 0.04f;
/// Tiles to each side whose history counts for a block: what moves has jumped beside it before.
inline constexpr int k_BlockReach = 4;
/// Tiles and frames to each side among which the second highest jump counts once more, so many
/// times: what passes through the picture jumps in each frame, in another place.
inline constexpr int k_PassingReach = 8;
inline constexpr int k_PassingFrames = 2;
inline constexpr float k_PassingTimes = 1.5f;
/// How much of what goes on around a block is taken off its jump (mean stops from the frame before
/// to the one after, over 8 x 8 tiles), in units of that.
inline constexpr float k_MotionTimes = 0.8f;
/// Mean stops from the frame before to the one after from which on a whole picture is under way, as
/// in a whip pan; what is beyond is taken off so many times.
inline constexpr float k_Whip = 0.35f;
inline constexpr float k_WhipTimes = 12;

/// What is there, or is not, in one frame alone: how unlike both neighbours a tile has to be beyond
/// what is usual in it and the tiles beside it (stops of light, slopes, detail and brightest pixel
/// together), and how much all tiles of a group have to be beyond that together.
inline constexpr float k_StrayFloor = 0.05f;
inline constexpr int k_StrayReach = 1;
inline constexpr float k_LeastStray = 1;
/// Where such tiles are more than this share of the picture, they are no place of it.
inline constexpr float k_LargestStray = 0.25f;
/// Something that moves has been elsewhere in the frame before, so many tiles away at most, and
/// will be in the one after. What changes there is so much alike (a cosine).
inline constexpr int k_StrayWay = 8;
inline constexpr float k_Passing = 0.55f;
/// The same for what is gone, which seldom looks like that, and for what is far from both
/// neighbours, of which so large a share has to be found again, too.
inline constexpr float k_SurelyPassing = 0.7f;
inline constexpr float k_FarShare = 0.6f;
/// The share for missing blocks: what is black is like all that is darker than what is beside.
inline constexpr float k_VoidPassing = 0.8f;
/// As much as this alone in the frame before or after is the same thing: less than so many tiles
/// away, however it looks, and anywhere where it is so much alike (a cosine).
inline constexpr float k_CompanionShare = 0.25f;
inline constexpr int k_CompanionWay = 5;
inline constexpr float k_Alike = 0.7f;
/// The same for missing blocks, which are far from what is around.
inline constexpr float k_VoidCompanion = 0.6f;

/// What is gone leaves a place that stands out from what is around by less than this share of what
/// it does before and after.
inline constexpr float k_StandingOut = 0.7f;

// Nearly all black: `black`.

/// Stops that the mean light is below that of both neighbours: a picture at a four-hundredth of its
/// light is 8.6 below.
inline constexpr double k_BlackStops = 5;
/// The share of a neighbour's light that it has to have left, where it goes on as it came: else it
/// is on its way to black.
inline constexpr double k_StillLit = 0.25;

// A block, a band or the rest is missing: `patch`.

/// How much becomes black of 2 x 2 tiles and is not before and after, in tiles: a block of 64
/// pixels, wherever it lies, is 1.07 wide at 1,920 pixels.
inline constexpr float k_VoidTiles = 0.95f;
/// The same at an end of a shot, where there is one neighbour.
inline constexpr float k_VoidTilesAtEnd = 2.5f;
/// The share of a tile from which it is told as missing; the blackest is in any case.
inline constexpr float k_VoidShare = 0.5f;
/// Stops that a tile that is all black loses by that, at the least: what was all but black before
/// is not missed.
inline constexpr float k_VoidStops = 0.5f;
/// What is black to so much of a share of each tile as a rectangle would be is a block, and nothing
/// that passes. Of its fullest tile it has so much at least: of less each shape is a rectangle.
inline constexpr float k_SharpShare = 0.03f;
inline constexpr float k_FullTile = 0.75f;
/// At an end of a shot more than half of the tiles have to stay within so many stops.
inline constexpr float k_StillStops = 0.3f;
/// Tiles to each side whose history counts.
inline constexpr int k_VoidReach = 6;

// A block is stale: `patch`.

/// How far back a block may be of. Frames that render at the same time are not more.
inline constexpr std::size_t k_OldestStale = 12;
/// The frame next to the one before is the first that is no neighbour.
inline constexpr std::size_t k_YoungestStale = 2;
/// How unlike the frames before and after a tile has to be, in stops (of its level, a half of its
/// slopes, a quarter of its detail and its brightest pixel, together).
inline constexpr float k_StaleMotion = 0.04f;
/// How like the older frame: at most this, and this share of how unlike the neighbours it is.
inline constexpr float k_StaleRest = 0.015f;
inline constexpr float k_StaleShare = 0.2f;
/// Two other frames are as much alike as these two within so much, and so many times as much. Where
/// the frames beside are alike as those beside the older one, or others of the time around at the
/// same distance, the shot goes round or swings; where so many frames are like this one, what it
/// shows is the usual, say the wall behind who passes.
inline constexpr float k_LikewiseRest = 0.006f;
inline constexpr float k_LikewiseTimes = 3;
inline constexpr int k_UsualFrames = 3;
/// What the tiles of a rectangle have to say together: each the logarithm to base 2 of how much
/// more it is like the older frame, less what chance gives; so much less where something moves that
/// is not of that frame, and where it is the way of the shot to show the same again.
inline constexpr float k_StaleEvidence = 14;
inline constexpr float k_StaleChance = 2;
inline constexpr float k_StaleContrary = 6;
inline constexpr float k_StaleWay = 4;
inline constexpr float k_StaleRounding = 0.004f;
/// So much of it in a frame next to it, for the same age: something that is repeated in itself goes
/// by.
inline constexpr float k_StaleCompanion = 0.8f;
/// Tiles that have to say so, at the least.
inline constexpr int k_LeastStaleTiles = 3;
/// A rectangle of more than this share of the picture is no block: the shot has been here before.
inline constexpr float k_LargestStale = 0.2f;

/// Tiles of a rectangle that have to have the very pixels of the older frame: a single block of
/// JPEG that comes again by chance covers four of a small picture. Those of that frame elsewhere in
/// the picture are taken off.
inline constexpr float k_LeftoverTiles = 5;
/// Tiles that one in the rectangle with other pixels outweighs, and one that would be the same
/// anyway.
inline constexpr float k_LeftoverContrary = 4;
inline constexpr float k_LeftoverRest = 0.05f;
/// Stops that such a tile is unlike those before and after, as for `k_StaleMotion`: JPEG has other
/// pixels in each frame where nobody sees anything move.
inline constexpr float k_LeftoverMotion = 0.01f;

// Single bright pixels: `sparks`.

/// Pixels in which a peak of the frame before or after is the same one.
inline constexpr int k_PeakReach = 2;
/// How many more than usual, in standard deviations of a count (its root), and how many at least.
inline constexpr float k_SparkDeviations = 4;
inline constexpr float k_LeastSparks = 3;
/// Stops above all that the tiles around had before and after: such a peak is a spark by itself,
/// and two are enough, or one where no frame of the time around has any.
inline constexpr double k_StrongSpark = 0.7;
inline constexpr float k_LeastStrongSparks = 2;
/// New peaks a frame that are usual where there are hardly any: not in snow or rain.
inline constexpr float k_QuietPeaks = 1;
/// And from which on it may be snow.
inline constexpr float k_SnowPeaks = 4;
/// As many more in snow, and at an end of a shot, where there is one
/// neighbour.
inline constexpr float k_MoreSparks = 2;
/// Or so much of what is usual there, where that is more.
inline constexpr float k_SnowShare = 0.25f;

// The pixels of a neighbour: `duplicate`.

/// Frames on each side among which only so many other runs of the same pixels may begin, since one
/// other fault hides nothing, nor a hold: animation on twos is none.
inline constexpr int k_LonelyPair = 10;
inline constexpr int k_OtherRuns = 1;

} // namespace check::picture_rules
