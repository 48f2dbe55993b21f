#pragma once

#include "master/door/Health.h"
#include "master/door/health.grpc.pb.h"

namespace master
{

/// gRPC's health service: tells anybody, with or without a token, whether the Master does its work.
/// The names it knows are that of the Master's own service, and none for the program as a whole. On
/// gRPC's threads, which answer also where the loop hangs.
class HealthService : public grpc::health::v1::Health::CallbackService
{
public:
    /// The health outlives it.
    explicit HealthService(const Health &health) : m_health(health) {}

    grpc::ServerUnaryReactor *Check(grpc::CallbackServerContext *context,
                                    const grpc::health::v1::HealthCheckRequest *request,
                                    grpc::health::v1::HealthCheckResponse *response) override;

private:
    const Health &m_health;
};

} // namespace master
