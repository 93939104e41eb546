#pragma once

// Runs the desktop application until its last window closes; returns the exit status.
int runApplication(int argc, char** argv);
