#pragma once

/** @file
 *  The PLC runtime's job of the init system, and its reset. */

// Neither waits for the job.
void stopCodesys();
void startCodesys();

/** Stops and starts the PLC runtime, without waiting for either. */
void restartCodesys();

/** Removes the PLC runtime's applications, each with the event codesysFileRemoved from "/system", and restarts the
 *  runtime. The files go even where the device has no runtime; one that can't be removed stays, and nobody is told.
 *  @return whether the device has a PLC runtime */
bool resetCodesys();
