#pragma once

// Whether the system has the locale function "GetLocaleInfoEx", which came with Vista. Found out once per process.
bool HasGetLocaleInfoEx();
