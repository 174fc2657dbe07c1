# Conditions of calls: all errors are miravex_error, and tell the operation and, where one is to blame, the argument.
# Those who make one do so before they raise it, so that its call is the user's.

condition <- function(class, operation, argument, message) {
  structure(class = c(class, "condition"),
            list(message = paste0(operation, ": ", message), call = sys.call(-2), operation = operation,
                 argument = argument))
}

refused <- function(operation, argument, message) {
  thrown <- condition(c("miravex_argument", "miravex_error", "error"), operation, argument, message)
  stop(thrown)
}

failed <- function(operation, argument, message) {
  thrown <- condition(c("miravex_failed", "miravex_error", "error"), operation, argument, message)
  stop(thrown)
}

converted <- function(operation, argument, message) {
  noted <- condition(c("miravex_converted", "warning"), operation, argument, message)
  warning(noted)
}
