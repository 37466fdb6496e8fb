#pragma once

#include <stdexcept>
#include <string>

namespace drive::reference {

// A refusal of the service: the HTTP status and the text of its {"message": …} body.
class ServiceError : public std::runtime_error {
 public:
  ServiceError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

  static ServiceError badRequest(const std::string& message) { return {400, message}; }
  static ServiceError unauthorized(const std::string& message) { return {401, message}; }
  static ServiceError forbidden() { return {403, "You don't have permission to change this item"}; }
  static ServiceError notFound() { return {404, "Not found"}; }
  static ServiceError conflict() { return {409, "Name already taken"}; }

 private:
  int status_;
};

}  // namespace drive::reference
