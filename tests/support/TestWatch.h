#pragma once

/// From now on a test that stands still says where, and ends, instead of being killed without a
/// word when ctest's patience is over:
///
/// - a modal dialog that nobody waits for fails the test after 15 seconds and is cancelled;
/// - a test that has not come back to its waits for a minute, whatever holds it up, ends the
/// process
///   with a list of the functions it is in.
///
/// Main thread, once the toolkit is there.
void WatchTest();

/// The test itself turns the main loop: its waits call this, in each round.
void TestIsAlive();
