#ifndef XEM_FIT_JSON_H
#define XEM_FIT_JSON_H

#include <string>

#include "xem/fit/result.h"

/// @file
/// Results as text that other programs read and that reads back.
///
/// The document, schema 2, has the same keys in the same order for every model: schema, version, command, model, terms,
/// formula, residual, status, iterations, parameters, correlation, covariance, measures, curves, dropped, stability,
/// derived, inputs, options, notes. Numbers read back as the same doubles; what is not a number is null.
namespace Xem::Fit {

/// The document of a result. `command` says what made it, such as "hyper fit"; it may be empty. Bytes that are not
/// UTF-8 are replaced.
XEM_FIT_EXPORT std::string ToJson(const Result& result, const std::string& command = "");

/// The result of a document of schema 2 or 1, or of one written by hand: "model" and "parameters" with "name" and
/// "value" are enough, everything else is optional and unknown keys are passed over. `evaluate` works for every model
/// of the catalogue that can be evaluated; for others, and for too few parameters, it throws Error when it is called.
///
/// Throws Error (BadData) for text that is no such document; `source` begins the message.
XEM_FIT_EXPORT Result FromJson(const std::string& text, const std::string& source = "the document");

/// Any JSON text, indented, with arrays of numbers on one line, as ToJson writes it. Throws Error (BadData) for text
/// that is not JSON or more than 200 levels deep.
XEM_FIT_EXPORT std::string IndentJson(const std::string& text);

}  // namespace Xem::Fit

#endif
