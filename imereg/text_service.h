#pragma once

// Registers the text-service module "TarvoTSF.ime" of the system directory by starting the system's "regsvr32.exe", and
// takes the classic layout, when the catalogue knows one, off the current user's hidden layouts. Does not wait for the
// started program: what it writes may come after the installer's end. No failure is reported.
void RegisterTextService();

// The same with the registration taken away instead.
void UnregisterTextService();
