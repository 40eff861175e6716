// The counters that tell how much the cache helps, and their display.
#pragma once

#include <cstdint>
#include <string>

namespace quenvar {

class StatisticsView;

extern std::int16_t TOTALQ;       ///< queries received from clients
extern std::int16_t ACACHE;       ///< requests answered from the cache
extern std::int16_t ADNS;         ///< requests answered by a name server
extern std::int16_t NOTANSWERED;  ///< requests that expired without an answer
extern double WTIME;              ///< milliseconds gained by the cache

/// Set once at start.
extern StatisticsView* statisticsView;

/// Requests in the pending table whose client still waits for any answer.
std::int16_t CountWaiting();

/// Ages the counters where needed and shows shares, waiting requests and gain.
void UpDateStatistic();

/// Sets the counters of the cache to nothing; requests in flight stay counted.
void ClearStatistics();

/// Ages the name servers' counters once their total has passed 10000.
void AgeServerCounters();

/// A row's share of all first answers, such as "33.3%".
std::string ServerShareText(int row);

}  // namespace quenvar
