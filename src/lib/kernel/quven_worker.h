#ifndef QUVEN_WORKER_H
#define QUVEN_WORKER_H

// Who this process is among the workers of a run. A process that has not initialised MPI is alone.

/// Whether MPI was initialised and is not finalised.
bool quvenIsMpiRunning();
/// The rank of this worker; 0 is the master.
int quvenWorkerRank();
/// The number of workers.
int quvenWorkerCount();

#endif  // QUVEN_WORKER_H
