#pragma once

/// From now on a test that stands still says where, and ends, instead of being killed without a
/// word when ctest's patience is over:
///
/// - A modal dialog that nobody waits for fails the test after 15 seconds and is cancelled.
/// - A test that has not come back to its waits for a minute ends the process, with a list of the
///   functions that it is in.
///
/// Main thread; the toolkit need not be there yet.
void WatchTest();

/// The test itself turns the main loop: its waits call this, in each round.
void TestIsAlive();
