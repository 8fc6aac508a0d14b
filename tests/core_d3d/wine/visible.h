#pragma once

// What is looked at from outside of the program. Each returns the exit status.
int show9();
int show11();
int withoutDevices();
