#pragma once

/// A platform with the parameters 5 and 12 in its default list and 30 and 77 beside it, all constant, in two languages.
constexpr char smallPlatform[] = R"({
  "serial": "123456", "language": "en_GB",
  "parameters": [
    {"id": 5, "size": 3, "unit": "kW", "default": true, "name": {"en_GB": "Pump po\u00adwer", "de_DE": "Leistung"},
     "signal": {"kind": "constant", "value": 55}},
    {"id": 12, "size": 3, "default": true, "name": {"en_GB": "Starts", "de_DE": "Anläufe"},
     "signal": {"kind": "constant", "value": 1200}},
    {"id": 30, "size": 3, "unit": "bar", "decimals": 1, "name": {"en_GB": "Pressure", "de_DE": "Druck"},
     "signal": {"kind": "constant", "value": 305}},
    {"id": 77, "size": 3, "unit": "V", "name": {"en_GB": "Voltage", "de_DE": "Spannung"},
     "signal": {"kind": "constant", "value": 7700}}
  ]
})";
