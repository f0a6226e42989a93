#include "config/report.h"

namespace tabulon {

std::list<Report> reportList;

}  // namespace tabulon
